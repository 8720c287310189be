#include "options.h"

#include <charconv>
#include <limits>

namespace {

// The power of 1024 that a unit stands for; negative when it is none.
int powerOf(std::string unit) {
    const std::string letters = "BKMGTPE";
    for (char& letter : unit) letter = letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
    if (unit.empty()) return 0;
    const std::size_t power = letters.find(unit[0]);
    const std::string rest = unit.substr(1);
    const bool known = power != std::string::npos && (rest.empty() || (power != 0 && (rest == "B" || rest == "IB")));
    return known ? static_cast<int>(power) : -1;
}

}  // namespace

std::string parseSize(const std::string& text, long* bytes) {
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, *bytes);
    const int power = powerOf(std::string(rest, end));
    if (rest == text.data() || text[0] == '-' || power < 0)
        return "\"" + text + "\" is no size; one is 1000000, or a whole number with K, M, G or T, such as 512M";
    if (error != std::errc() || *bytes > std::numeric_limits<long>::max() >> (10 * power))
        return "\"" + text + "\" is more than any size can be";
    *bytes <<= 10 * power;
    return {};
}

CLI::Option* addSize(CLI::App& app, const char* name, long* bytes, const char* help) {
    const auto parse = [=](const std::string& text) {
        const std::string wrong = parseSize(text, bytes);
        if (!wrong.empty()) throw CLI::ValidationError(name, wrong);
    };
    return app.add_option_function<std::string>(name, parse, help)->type_name("SIZE");
}

void addElementSize(CLI::App& app, long* bytes) {
    addSize(app, "--element-size", bytes, "Begin a new pair of files when a data file has grown past this, such as 1G");
}

void addJson(CLI::App& app, bool* json) { app.add_flag("--json", *json, "Report as JSON"); }
