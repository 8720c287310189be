// Every message that is made while the object lives, in order.
#ifndef TESTS_SUPPORT_MESSAGE_LOG_H
#define TESTS_SUPPORT_MESSAGE_LOG_H

#include <mutex>
#include <string>
#include <vector>

#include "ktb/message.h"

class MessageLog {
public:
    struct Entry {
        std::string source;
        std::string component;
        int number;
        std::string text;
    };

    MessageLog() { ktbSetMessageObserver(&MessageLog::observe, this); }
    MessageLog(const MessageLog&) = delete;
    MessageLog& operator=(const MessageLog&) = delete;
    ~MessageLog() { ktbSetMessageObserver(nullptr, nullptr); }

    std::vector<Entry> entries() const {
        const std::lock_guard<std::mutex> guard(mutex_);
        return entries_;
    }

    // The last message's number; 0 when there is none.
    int lastNumber() const {
        const std::lock_guard<std::mutex> guard(mutex_);
        return entries_.empty() ? 0 : entries_.back().number;
    }

    Entry last() const {
        const std::lock_guard<std::mutex> guard(mutex_);
        return entries_.empty() ? Entry{"", "", 0, ""} : entries_.back();
    }

    void clear() {
        const std::lock_guard<std::mutex> guard(mutex_);
        entries_.clear();
    }

private:
    static void observe(void* self, const char* source, int, const char* component, int number, const char* text) {
        auto* log = static_cast<MessageLog*>(self);
        const std::lock_guard<std::mutex> guard(log->mutex_);
        log->entries_.push_back({source, component, number, text});
    }

    mutable std::mutex mutex_;
    std::vector<Entry> entries_;
};

#endif
