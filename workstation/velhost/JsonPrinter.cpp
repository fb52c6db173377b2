#include <nlohmann/json.hpp>

#include "workstation/velhost/Printer.h"

namespace velhost {

namespace {

using Json = nlohmann::ordered_json;

Json jsonOf(const Answer& answer) {
    return {{"line", answer.line},
            {"application", answer.query.appName},
            {"field", nameOf(answer.query.field)},
            {"value", answer.value}};
}

/// Every field is there in every object, null where there is no row, so that readers need no cases.
Json jsonOf(const Classification& row) {
    Json object{{"application", row.appName}, {"type", nullptr}, {"weight", nullptr},
                {"peaks", nullptr},           {"sum", nullptr},  {"threshold", nullptr},
                {"heavyGame", nullptr}};
    if (row.stored) {
        object["type"] = row.stored->type;
        object["weight"] = row.stored->weight;
    }
    if (row.heavyGame) {
        object["peaks"] = row.heavyGame->peaks;
        object["sum"] = row.heavyGame->sum();
        object["threshold"] = HeavyGame::threshold;
        object["heavyGame"] = row.heavyGame->isHeavy();
    }
    return object;
}

class JsonPrinter : public Printer {
public:
    explicit JsonPrinter(Output& target) : output(target) {}

    void printAnswer(const Answer& answer) override {
        item(answered ? "," : "{\"answers\": [", jsonOf(answer));
        answered = true;
    }

    void printTable(ClassificationReader& reader) override {
        output.write(answered ? "\n],\n" : "{");
        const char* before = "\"applications\": [";
        while (const auto row = reader.next()) {
            item(before, jsonOf(*row));
            before = ",";
        }
        // `before` still opens the list when there was no row.
        output.write(*before == ',' ? "\n]}\n" : "\"applications\": []}\n");
        output.finish();
    }

private:
    /// One object a line: large outputs stay fit for line tools.
    void item(const char* before, const Json& value) {
        output.write(before);
        // ASCII alone: valid whatever the name, and nothing that a terminal would act on.
        output.write("\n" + value.dump(-1, ' ', true, Json::error_handler_t::replace));
    }

    Output& output;
    bool answered = false;
};

} // namespace

std::unique_ptr<Printer> makeJsonPrinter(Output& output) { return std::make_unique<JsonPrinter>(output); }

} // namespace velhost
