#include "human.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

std::string humanBytes(long bytes) {
    static constexpr const char* units[] = {"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    double amount = static_cast<double>(bytes);
    std::size_t unit = 0;
    for (; amount >= 1024; ++unit) amount /= 1024;
    char text[32];
    std::snprintf(text, sizeof text, unit == 0 || amount >= 100 ? "%.0f %s" : "%.1f %s", amount, units[unit]);
    return text;
}

std::string humanCount(long count) {
    const std::string digits = std::to_string(count);
    std::string text;
    for (std::size_t place = 0; place < digits.size(); ++place) {
        const bool beginsGroup = place > 0 && (digits.size() - place) % 3 == 0 && digits[place - 1] != '-';
        if (beginsGroup) text += ',';
        text += digits[place];
    }
    return text;
}

std::string humanTime(double seconds) {
    constexpr double longest = 100 * 365.0 * 86400;
    if (!(seconds < longest)) return "years";
    const long whole = static_cast<long>(std::ceil(seconds));
    const long hours = whole / 3600;
    const int minutes = static_cast<int>(whole / 60 % 60);
    const int rest = static_cast<int>(whole % 60);
    char text[64];
    if (hours >= 24) {
        std::snprintf(text, sizeof text, "%ld d %ld h", hours / 24, hours % 24);
    } else if (hours > 0) {
        std::snprintf(text, sizeof text, "%ld:%02d:%02d", hours, minutes, rest);
    } else {
        std::snprintf(text, sizeof text, "%d:%02d", minutes, rest);
    }
    return text;
}

std::string humanAge(long seconds) {
    struct Unit {
        long seconds;
        const char* name;
    };
    for (const Unit unit : {Unit{86400, " d"}, Unit{3600, " h"}, Unit{60, " min"}}) {
        if (seconds >= unit.seconds) return std::to_string(seconds / unit.seconds) + unit.name;
    }
    return std::to_string(std::max(seconds, 0L)) + " s";
}
