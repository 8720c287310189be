#include "background.h"

#include <chrono>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>

void runInBackground(const std::function<void()>& work, const std::function<void()>& look) {
    constexpr auto interval = std::chrono::milliseconds(50);
    std::mutex mutex;
    std::condition_variable ended;
    bool done = false;
    std::jthread worker([&] {
        work();
        const std::lock_guard<std::mutex> lock(mutex);
        done = true;
        ended.notify_one();
    });
    std::unique_lock<std::mutex> lock(mutex);
    while (!ended.wait_for(lock, interval, [&done] { return done; })) look();
}

Transferred bytesTransferred() {
    std::ifstream counts("/proc/self/io");
    Transferred transferred;
    for (std::string name; counts >> name;) {
        long bytes = 0;
        counts >> bytes;
        if (name == "rchar:") transferred.read = bytes;
        if (name == "wchar:") transferred.written = bytes;
    }
    return transferred;
}
