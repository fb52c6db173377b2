#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/Device.h"
#include "tests/support/Probes.h"
#include "tests/support/Sql.h"

namespace {

/// Takes an input apart; after its end there are zeros.
struct Input {
    const std::uint8_t* next;
    const std::uint8_t* end;

    unsigned number(unsigned below) { return next == end ? 0 : *next++ % below; }

    std::string value() {
        const std::string size = std::to_string(number(256));
        const std::string values[] = {"NULL", size, "zeroblob(" + size + ")",
                                      "replace(hex(zeroblob(" + size + ")),'0','é€')"};
        return values[number(4)];
    }

    std::string type() { return Lines{"", " INTEGER", " TEXT", " BLOB"}[number(4)]; }
};

/// A database of another maker: columns and values of any type, in either encoding, perhaps with a column too many.
void makeForeign(Input& input, const std::filesystem::path& file, const std::string& table) {
    const bool isWide = input.number(2) != 0;
    std::string sql = input.number(2) == 0 ? "" : "PRAGMA encoding='UTF-16';";
    sql += "CREATE TABLE " + table + "(intcol1" + input.type() + ",appName" + input.type() + ",rsvdName" +
           input.type() + ",blob" + input.type() + (isWide ? ",more);" : ");");
    for (unsigned rows = input.number(5); rows > 0; --rows) {
        const std::string name = input.number(2) == 0 ? "'com.target'" : "'org.other'";
        sql += "INSERT INTO " + table + " VALUES (" + input.value() + ',' + name + ',' + input.value() + ',' +
               input.value() + (isWide ? ',' + input.value() : "") + ");";
    }
    Sql(file).run(sql);
}

} // namespace

/// Whatever the name and whatever lies in the files, nothing breaks, and the rows of other names stay as they are.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Device device;
    const auto file = device.file("Tessary.db");
    const std::string others = "appName = 'org.other'";
    Input input{data, data + size};
    const bool isGarbage = input.number(4) == 3;
    if (isGarbage) {
        std::ofstream(file, std::ios::binary) << std::string(input.next, input.end);
    } else {
        makeForeign(input, file, "Tessary");
        makeForeign(input, device.file("TessaryHeavyGame.db"), "HeavyGame");
    }
    const std::string name = input.number(2) == 0 ? "com.target" : std::string(input.next, input.end);
    const Lines before = isGarbage ? Lines{} : Sql(file).table("Tessary", others);
    {
        FeatureProbe feature("Tessary");
        feature.type(name);
        feature.classify(name, 17);
        feature.weigh(name, 1);
        feature.report(name, {400, 500, 300});
        size % 2 == 0 ? feature.remove(name) : feature.classify(name, 18);
    }
    if (!isGarbage && name != "org.other" && Sql(file).table("Tessary", others) != before) {
        std::abort();
    }
    return 0;
}
