// Where a command's result goes: standard output or a file, through a buffer, with failures that are remembered.
#ifndef TOOLS_KTWT_OUTPUT_H
#define TOOLS_KTWT_OUTPUT_H

#include <cstddef>
#include <string>
#include <string_view>

#include "outcome.h"

// After a failure everything put is dropped, and finish() tells of it.
class Output {
public:
    Output() { buffer_.reserve(bufferBytes); }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    // Drops what was not finished; a file that this object made is removed then.
    ~Output();

    // "-" is standard output. A file is created, or replaced once finish() succeeds; it is never left half written. A link
    // stays, and what it leads to is replaced. A device or a pipe is written to as it is.
    Outcome open(const std::string& path);

    // A Ctrl-C, which else is a failure, from here on only keeps it from waiting for whoever reads: for reports of what has
    // been done already.
    void tellAfterInterrupt() { tellsAfterInterrupt_ = true; }

    void put(std::string_view bytes) {
        if (bytes.size() > bufferBytes - buffer_.size()) flush();
        if (bytes.size() > bufferBytes) return write(bytes);
        buffer_ += bytes;
    }
    void put(char byte) {
        if (buffer_.size() == bufferBytes) flush();
        buffer_ += byte;
    }

    // Whether writing goes on making sense.
    bool failed() const { return error_ != 0; }

    // Writes what is buffered and closes. A reader that has gone away is Status::cancelled without a text.
    Outcome finish();

    bool isTerminal() const;

    // How many characters fit in a line of the terminal; 0 when it is none.
    std::size_t terminalWidth() const;

private:
    static constexpr std::size_t bufferBytes = 256 * 1024;

    void openFile();
    void flush();
    void write(std::string_view bytes);
    std::size_t sizeOfWrite(std::size_t bytes) const;
    Outcome failure() const;

    std::string buffer_;
    std::string path_ = "-";
    std::string target_;     // where the path leads
    std::string temporary_;  // where a file's bytes are until they are complete
    int handle_ = 1;
    bool tellsAfterInterrupt_ = false;
    int error_ = 0;  // errno of the first failure
};

#endif
