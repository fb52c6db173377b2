#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <map>
#include <mutex>
#include <new>
#include <string>
#include <string_view>

#include <cutils/properties.h>

namespace {

std::mutex propertiesMutex;

// std::less<> looks a key up without copying it: reading a property needs no memory.
std::map<std::string, std::string, std::less<>>& properties() {
    static std::map<std::string, std::string, std::less<>> values;
    return values;
}

bool isOneOf(std::string_view value, std::initializer_list<std::string_view> words) {
    return std::find(words.begin(), words.end(), value) != words.end();
}

} // namespace

extern "C" int property_get(const char* key, char* value, const char* default_value) {
    const std::lock_guard<std::mutex> lock(propertiesMutex);
    const auto found = properties().find(std::string_view(key));
    const char* text = found != properties().end() ? found->second.c_str() : default_value;
    if (text == nullptr) {
        text = "";
    }
    const std::size_t length = std::min<std::size_t>(std::strlen(text), PROPERTY_VALUE_MAX - 1);
    std::memcpy(value, text, length);
    value[length] = '\0';
    return static_cast<int>(length);
}

extern "C" int8_t property_get_bool(const char* key, int8_t default_value) {
    char value[PROPERTY_VALUE_MAX];
    property_get(key, value, "");
    if (isOneOf(value, {"1", "y", "yes", "on", "true"})) {
        return 1;
    }
    if (isOneOf(value, {"0", "n", "no", "off", "false"})) {
        return 0;
    }
    return default_value;
}

extern "C" int property_set(const char* key, const char* value) {
    if (std::strlen(value) >= PROPERTY_VALUE_MAX) {
        return -1;
    }
    try {
        const std::lock_guard<std::mutex> lock(propertiesMutex);
        properties().insert_or_assign(key, value); // operator[] would leave an empty value when out of memory
        return 0;
    } catch (const std::bad_alloc&) {
        return -1;
    }
}
