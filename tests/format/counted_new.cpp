#include "counted_new.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>

static std::atomic<std::size_t> allocationCount{0};
static std::atomic<std::size_t> largestBytes{0};
static std::atomic<std::size_t> totalBytes{0};

void counted_new::restart() {
    allocationCount = 0;
    largestBytes = 0;
    totalBytes = 0;
}

std::size_t counted_new::allocations() { return allocationCount; }
std::size_t counted_new::largest() { return largestBytes; }
std::size_t counted_new::total() { return totalBytes; }

static void* counted(std::size_t size) noexcept {
    ++allocationCount;
    largestBytes = std::max(largestBytes.load(), size);
    totalBytes += size;
    return std::malloc(size != 0 ? size : 1);
}

static void* orThrow(std::size_t size) {
    if (void* block = std::malloc(size != 0 ? size : 1)) return block;
    throw std::bad_alloc();
}

void* operator new(std::size_t size) { return orThrow(size); }
void* operator new[](std::size_t size) { return orThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return counted(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return counted(size); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { std::free(block); }
