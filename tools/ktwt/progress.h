// A progress bar with rate and time left, for people: drawn on standard error when that is a terminal, and only once the work
// has taken a second.
#ifndef TOOLS_KTWT_PROGRESS_H
#define TOOLS_KTWT_PROGRESS_H

#include <chrono>
#include <string>

class Progress {
public:
    enum class Unit { rows, bytes };

    // `expected` is the amount of work; 0 when it is not known.
    Progress(std::string what, Unit unit, long expected);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress() { clear(); }

    // Cheap enough to be called for every row: most calls only count.
    void at(long done) {
        if (visible_ && (++calls_ & 255) == 0) look(done);
    }

    // For work that learns on the way how much of it there is, and for calls that come seldom.
    void at(long done, long expected);

    // Takes the bar off the terminal.
    void clear();

private:
    using Clock = std::chrono::steady_clock;

    void look(long done);
    void draw(long done, double seconds);

    const std::string what_;
    const Unit unit_;
    long expected_;
    const bool visible_;
    bool drawn_ = false;
    unsigned calls_ = 0;
    Clock::time_point begun_ = Clock::now();
    Clock::time_point next_;
};

#endif
