// A file, or what is piped in, to be read once or several times from its beginning.
#ifndef TOOLS_KTWT_INPUT_FILE_H
#define TOOLS_KTWT_INPUT_FILE_H

#include <cstddef>
#include <string>

#include "outcome.h"

// What cannot be read twice, such as a pipe, is kept in a file without a name meanwhile. Nothing is left of that, however the
// program ends.
class InputFile {
public:
    InputFile() = default;
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;
    ~InputFile();

    // "-" is standard input, read from where it stands. `directories` are the work directories, with ':' between them, the
    // first of which that can is where bytes are kept.
    Outcome open(const std::string& path, const std::string& directories);

    // How messages name the file.
    const std::string& name() const { return name_; }

    // The bytes that there are to read in all, and those that were read since the beginning. The size of a pipe is 0 until its
    // end has been seen.
    long size() const { return size_; }
    long position() const { return position_; }

    // Reads until `size` bytes are there or the end is reached: *bytes tells. Fails when it is interrupted, and where a file
    // ends before it did earlier: what is gone would be missed by nobody.
    Outcome read(char* buffer, std::size_t size, std::size_t* bytes);

    // Goes back to where reading began.
    Outcome rewind();

    // Promises that nothing will be read again once it has been read, the rewind() that may come next aside: bytes need not be
    // kept any more.
    void readForTheLastTime() { keeping_ = false; }

private:
    Outcome findKind();
    Outcome makeStore(const std::string& directories);
    Outcome readSome(char* buffer, std::size_t size, std::size_t* bytes);
    Outcome readStored(char* buffer, std::size_t size, std::size_t* bytes);
    Outcome waitForBytes() const;
    Outcome readFresh(char* buffer, std::size_t size, std::size_t* bytes);
    Outcome keep(const char* bytes, std::size_t size);
    Outcome meetEnd();
    Outcome failure(int error) const;
    Outcome storeFailure(int error) const;

    std::string name_;
    int handle_ = -1;
    bool owned_ = false;  // standard input is not ours to close
    bool regular_ = false;
    long begin_ = 0;  // where reading began in a regular file
    long size_ = 0;
    long position_ = 0;

    bool ended_ = false;  // of a pipe: a terminal would wait for more
    int store_ = -1;      // what was read of a pipe, from its beginning
    std::string storeDirectory_;
    long stored_ = 0;
    bool keeping_ = true;
};

#endif
