// While it lives no file can grow beyond some bytes: how a full disk looks to this process.
#ifndef TESTS_FORMAT_FILE_SIZE_LIMIT_H
#define TESTS_FORMAT_FILE_SIZE_LIMIT_H

#include <signal.h>
#include <sys/resource.h>

#include <stdexcept>

class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) : handler_(signal(SIGXFSZ, SIG_IGN)) {
        if (getrlimit(RLIMIT_FSIZE, &before_) != 0) throw std::runtime_error("getrlimit");
        rlimit limited = before_;
        limited.rlim_cur = bytes;
        if (setrlimit(RLIMIT_FSIZE, &limited) != 0) throw std::runtime_error("setrlimit");
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &before_);
        signal(SIGXFSZ, handler_);
    }

private:
    void (*handler_)(int);
    rlimit before_{};
};

#endif
