// What became of a piece of work, and the exit statuses of the program.
#ifndef TOOLS_KTWT_OUTCOME_H
#define TOOLS_KTWT_OUTCOME_H

#include <string>
#include <utility>

// Exit statuses. Scripts rely on them: never renumber.
enum class Status {
    done = 0,
    no = 1,          // the question was understood, and its answer is no: tables differ, a table is damaged
    usage = 2,       // an option, a name of a column or a number that makes no sense here
    unreadable = 3,  // a file or table cannot be opened, read or written
    full = 4,        // the disk is full, or memory exhausted
    damaged = 6,     // the bytes of a table or of an input are not what they should be
    cancelled = 7    // by Ctrl-C, or because nobody reads the output any more
};

// Success, or a status with a text of one line that names the thing that failed. An empty text is not printed.
class [[nodiscard]] Outcome {
public:
    Outcome() = default;
    Outcome(Status status, std::string text) : status_(status), text_(std::move(text)) {}

    bool ok() const { return status_ == Status::done; }
    Status status() const { return status_; }
    const std::string& text() const { return text_; }

private:
    Status status_ = Status::done;
    std::string text_;
};

inline Outcome cancelled() { return {Status::cancelled, "cancelled"}; }

#endif
