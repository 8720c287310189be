#include "progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "human.h"

namespace {

using namespace std::chrono_literals;

constexpr auto patience = 1s;
constexpr auto interval = 100ms;
constexpr int barWidth = 24;

std::string amountOf(double amount, Progress::Unit unit) {
    return unit == Progress::Unit::bytes ? humanBytes(static_cast<long>(amount))
                                         : humanCount(static_cast<long>(amount)) + " rows";
}

}  // namespace

Progress::Progress(std::string what, Unit unit, long expected)
    : what_(std::move(what)),
      unit_(unit),
      expected_(expected),
      visible_(isatty(STDERR_FILENO) != 0),
      next_(begun_ + patience) {}

void Progress::at(long done, long expected) {
    expected_ = expected;
    if (visible_) look(done);
}

void Progress::look(long done) {
    const Clock::time_point now = Clock::now();
    if (now < next_) return;
    next_ = now + interval;
    draw(done, std::chrono::duration<double>(now - begun_).count());
}

void Progress::draw(long done, double seconds) {
    const double rate = static_cast<double>(done) / seconds;
    std::string line = "\r" + what_ + " ";
    if (expected_ > 0) {
        const double part = std::min(1.0, static_cast<double>(done) / static_cast<double>(expected_));
        const auto filled = static_cast<std::size_t>(part * barWidth);
        char percent[16];
        std::snprintf(percent, sizeof percent, "] %3.0f %%, ", part * 100);
        line += "[" + std::string(filled, '#') + std::string(barWidth - filled, ' ') + percent;
    } else {
        line += amountOf(static_cast<double>(done), unit_) + ", ";
    }
    line += amountOf(rate, unit_) + "/s";
    if (expected_ > done && rate > 0) line += ", " + humanTime(static_cast<double>(expected_ - done) / rate) + " left";
    std::fprintf(stderr, "%s\033[K", line.c_str());
    drawn_ = true;
}

void Progress::clear() {
    if (drawn_) std::fputs("\r\033[K", stderr);
    drawn_ = false;
}
