#include <nlohmann/json.hpp>

#include "workstation/velhost/Output.h"
#include "workstation/velhost/Printer.h"
#include "workstation/velhost/Text.h"

namespace velhost {

namespace {

using Json = nlohmann::ordered_json;

/// "application", with U+FFFD for what is not UTF-8; then "bytes" has the whole name in hexadecimal.
Json jsonOf(const std::string& name) {
    Json object{{"application", name}, {"bytes", nullptr}};
    if (!isUtf8(name)) {
        std::string digits;
        for (const char byte : name) {
            digits += "0123456789ABCDEF"[static_cast<unsigned char>(byte) >> 4U];
            digits += "0123456789ABCDEF"[static_cast<unsigned char>(byte) & 0xFU];
        }
        object["bytes"] = digits;
    }
    return object;
}

/// Every field is there in every object, null where there is no row, so that readers need no cases.
Json jsonOf(const Classification& row) {
    Json object = jsonOf(row.appName);
    object["type"] = row.stored ? Json(row.stored->type) : Json();
    object["weight"] = row.stored ? Json(row.stored->weight) : Json();
    object["peaks"] = row.heavyGame ? Json(row.heavyGame->peaks) : Json();
    object["sum"] = row.heavyGame ? Json(row.heavyGame->sum()) : Json();
    object["wrapped"] = row.heavyGame ? Json(row.heavyGame->isWrapped()) : Json();
    object["threshold"] = row.heavyGame ? Json(HeavyGame::threshold) : Json();
    object["heavyGame"] = row.heavyGame ? Json(row.heavyGame->isHeavy()) : Json();
    return object;
}

class JsonPrinter : public Printer {
public:
    void printAnswer(const Answer& answer) override {
        Json object{{"line", answer.line}};
        object.update(jsonOf(answer.query.appName));
        object["field"] = nameOf(answer.query.field);
        object["value"] = answer.value;
        item(answered ? "," : "{\"answers\": [", object);
        answered = true;
    }

    void printTable(const std::vector<Classification>& rows) override {
        put(answered ? "\n],\n" : "{");
        const char* before = "\"applications\": [";
        for (const Classification& row : rows) {
            item(before, jsonOf(row));
            before = ",";
        }
        // `before` still opens the list when there was no row.
        put(*before == ',' ? "\n]}\n" : "\"applications\": []}\n");
        finishOutput();
    }

private:
    /// One object a line: large outputs stay fit for line tools.
    static void item(const char* before, const Json& value) {
        put(before);
        // ASCII alone: valid whatever the name, and nothing that a terminal would act on.
        put("\n" + value.dump(-1, ' ', true, Json::error_handler_t::replace));
    }

    bool answered = false;
};

} // namespace

std::unique_ptr<Printer> makeJsonPrinter() { return std::make_unique<JsonPrinter>(); }

} // namespace velhost
