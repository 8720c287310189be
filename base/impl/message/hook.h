// A function of the caller's with its context, exchanged and fetched as one from any thread.
#ifndef KTB_MESSAGE_HOOK_H
#define KTB_MESSAGE_HOOK_H

#include <mutex>

template <class Function>
struct KtbHook {
    Function function = nullptr;
    void* context = nullptr;
};

template <class Function>
class KtbHookSlot {
public:
    constexpr KtbHookSlot() noexcept = default;

    void set(Function function, void* context) {
        const std::lock_guard<std::mutex> lock(mutex_);
        hook_ = {function, context};
    }

    // A copy, to be called without the lock: the function may take as long as it likes, and may itself exchange the hook.
    KtbHook<Function> get() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return hook_;
    }

private:
    std::mutex mutex_;
    KtbHook<Function> hook_;
};

#endif
