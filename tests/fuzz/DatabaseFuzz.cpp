#include <cstdlib>
#include <fstream>

#include <fuzzer/FuzzedDataProvider.h>

#include "tests/support/Device.h"
#include "tests/support/Probes.h"
#include "tests/support/Sql.h"

namespace {

/// Makes a database as another program could: any column types and values, UTF-8 or UTF-16, perhaps one more column.
void makeForeign(FuzzedDataProvider& input, const std::filesystem::path& file, const std::string& table) {
    const auto type = [&input] { return input.PickValueInArray({"", "INTEGER", "TEXT", "BLOB"}); };
    const auto value = [&input] {
        return input.PickValueInArray({"NULL", "''", "'é€'", "X''", "X'00'", "zeroblob(7)", "zeroblob(8)",
                                       "zeroblob(12)", "zeroblob(300)", "0.5", "-9223372036854775808"});
    };
    std::string sql = input.ConsumeBool() ? "PRAGMA encoding = 'UTF-16';" : "";
    sql += "CREATE TABLE " + table + "(intcol1 " + type() + ", appName " + type() + ", rsvdName " + type() + ", blob " +
           type() + (input.ConsumeBool() ? ", more DEFAULT 1);" : ");");
    for (int rows = input.ConsumeIntegralInRange(0, 4); rows > 0; --rows) {
        const std::string name = input.ConsumeBool() ? "'com.target'" : "'org.other'";
        sql += "INSERT INTO " + table + "(intcol1, appName, rsvdName, blob) VALUES (" + value() + ", " + name + ", " +
               value() + ", " + value() + ");";
    }
    Sql(file).run(sql);
}

} // namespace

/// For any name and file content nothing crashes, and in a valid database other names keep their classifications.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const Device device;
    const auto file = device.file("Tessary.db");
    const std::string name = input.ConsumeBool() ? "com.target" : input.ConsumeRandomLengthString();
    const std::string isOther = "appName = 'org.other'";
    Lines othersBefore;
    const bool isDatabase = input.ConsumeBool();
    if (isDatabase) {
        makeForeign(input, file, "Tessary");
        makeForeign(input, device.file("TessaryHeavyGame.db"), "HeavyGame");
        othersBefore = Sql(file).table("Tessary", isOther);
    } else {
        std::ofstream(file, std::ios::binary) << input.ConsumeRemainingBytesAsString();
    }
    {
        FeatureProbe feature("Tessary");
        feature.type(name);
        feature.classify(name, 17);
        feature.weigh(name, 1);
        feature.report(name, {400, 500, 300});
        feature.remove(name);
    }
    if (isDatabase && name != "org.other" && Sql(file).table("Tessary", isOther) != othersBefore) {
        std::abort();
    }
    return 0;
}
