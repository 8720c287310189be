#include "sort/machine.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstdio>
#include <span>
#include <string_view>

#include "file/retry.h"

namespace {

// Limits are numbers from 1 up; 0 stands for none.
using Limit = unsigned long;

constexpr unsigned long pathBytesMax = 4096;
constexpr unsigned long nameBytesMax = 64;  // of the files that hold limits

Limit lowerOf(Limit a, Limit b) { return a == 0 || b == 0 ? std::max(a, b) : std::min(a, b); }

// The start of a file, as much as fits; empty when it cannot be read. The file layer is for files of data: it would want memory
// for a handle and a buffer, and what the kernel shows as files has no size to go by.
template <unsigned long bytesMax>
class FileStart {
public:
    explicit FileStart(const char* path) {
        const int descriptor = uninterrupted([&] { return ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK); });
        if (descriptor < 0) return;
        while (size_ < bytesMax && readMore(descriptor)) continue;
        ::close(descriptor);
    }

    std::string_view text() const { return {bytes_, size_}; }

private:
    bool readMore(int descriptor) {
        const auto count = uninterrupted([&] { return ::read(descriptor, bytes_ + size_, bytesMax - size_); });
        if (count > 0) size_ += static_cast<unsigned long>(count);
        return count > 0;
    }

    char bytes_[bytesMax];
    unsigned long size_ = 0;
};

using LimitFile = FileStart<64>;     // two of the largest numbers fit
using GroupFile = FileStart<16384>;  // a line per controller, with paths as long as they get in practice

// Takes off the text a part and the separator behind it. Returns false, with nothing taken, when there is no separator: a line
// without its end, for instance, was cut off.
bool takePart(std::string_view* text, char separator, std::string_view* part) {
    const auto end = text->find(separator);
    if (end == std::string_view::npos) return false;
    *part = text->substr(0, end);
    text->remove_prefix(end + 1);
    return true;
}

// 0 for a text that is no number, such as "max" and "-1", or one too large.
Limit numberOf(std::string_view text) {
    Limit number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? number : 0;
}

// The directory of a group and, one after the other, of the groups around it.
class GroupDirectory {
public:
    // Begins at `root` + `mount` + `group`. The group's path begins with a '/'. Returns false when the whole is too long.
    bool start(const char* root, const char* mount, std::string_view group) {
        const int top = std::snprintf(path_, sizeof path_, "%s%s", root, mount);
        if (top < 0 || static_cast<unsigned long>(top) + group.size() >= sizeof path_) return false;
        topSize_ = static_cast<unsigned long>(top);
        size_ = topSize_ + group.copy(path_ + topSize_, group.size());
        path_[size_] = '\0';
        return true;
    }

    // Returns false when this was the outermost group.
    bool climb() {
        if (size_ == topSize_) return false;
        while (path_[--size_] != '/') continue;
        path_[size_] = '\0';
        return true;
    }

    // A file of this group, which holds a line.
    LimitFile file(const char* name) const {
        char path[pathBytesMax + nameBytesMax];
        std::snprintf(path, sizeof path, "%s/%s", path_, name);
        return LimitFile(path);
    }

private:
    char path_[pathBytesMax];
    unsigned long topSize_ = 0;
    unsigned long size_ = 0;
};

// Processors that would be kept busy by `quota` of processor time in each period.
Limit processorsFor(Limit quota, Limit period) {
    return quota == 0 || period == 0 ? 0 : quota / period + (quota % period != 0 ? 1 : 0);
}

Limit numberIn(const LimitFile& file) {
    std::string_view text = file.text();
    std::string_view line;
    return takePart(&text, '\n', &line) ? numberOf(line) : 0;
}

Limit unifiedProcessors(const GroupDirectory& group) {
    const LimitFile file = group.file("cpu.max");
    std::string_view text = file.text();
    std::string_view period;
    std::string_view quota;
    if (!takePart(&text, '\n', &period) || !takePart(&period, ' ', &quota)) return 0;
    return processorsFor(numberOf(quota), numberOf(period));
}

Limit separateProcessors(const GroupDirectory& group) {
    return processorsFor(numberIn(group.file("cpu.cfs_quota_us")), numberIn(group.file("cpu.cfs_period_us")));
}

Limit unifiedMemory(const GroupDirectory& group) { return numberIn(group.file("memory.max")); }

Limit separateMemory(const GroupDirectory& group) { return numberIn(group.file("memory.limit_in_bytes")); }

// What control groups limit, and where that stands in the two kinds of trees.
struct Resource {
    std::string_view controller;
    std::span<const char* const> separateMounts;  // the names under which the controller's own tree may be mounted
    Limit (*unifiedLimit)(const GroupDirectory& group);
    Limit (*separateLimit)(const GroupDirectory& group);
};

constexpr const char* unifiedMounts[] = {"", "/unified"};
constexpr const char* processorMounts[] = {"/cpu", "/cpu,cpuacct"};
constexpr const char* memoryMounts[] = {"/memory"};
constexpr Resource processors = {"cpu", processorMounts, unifiedProcessors, separateProcessors};
constexpr Resource memory = {"memory", memoryMounts, unifiedMemory, separateMemory};

// The lowest limit of a group and those around it, in the tree below each of the mounts: one that is not there has none.
Limit lowestOnTheWay(const char* root, std::span<const char* const> mounts, std::string_view path,
                     Limit (*limitOf)(const GroupDirectory& group)) {
    Limit lowest = 0;
    GroupDirectory group;
    for (const char* mount : mounts) {
        for (bool more = group.start(root, mount, path); more; more = group.climb()) lowest = lowerOf(lowest, limitOf(group));
    }
    return lowest;
}

bool isListed(std::string_view name, std::string_view list) {
    std::string_view item;
    while (takePart(&list, ',', &item)) {
        if (item == name) return true;
    }
    return list == name;
}

// A path that leads out of the mounted tree says nothing about the groups in there.
bool isUsable(std::string_view path) {
    return path.starts_with('/') && path.find("/..") == std::string_view::npos && path.find('\0') == std::string_view::npos;
}

// The limit of the group that one line, such as "4:cpu,cpuacct:/user/job" or "0::/user/job", names.
Limit limitOfLine(std::string_view line, const char* root, const Resource& resource) {
    std::string_view tree;
    std::string_view controllers;
    if (!takePart(&line, ':', &tree) || !takePart(&line, ':', &controllers) || !isUsable(line)) return 0;
    if (tree == "0" && controllers.empty()) return lowestOnTheWay(root, unifiedMounts, line, resource.unifiedLimit);
    if (!isListed(resource.controller, controllers)) return 0;
    return lowestOnTheWay(root, resource.separateMounts, line, resource.separateLimit);
}

Limit limitOfGroup(const char* groupFile, const char* root, const Resource& resource) {
    const GroupFile file(groupFile);
    std::string_view text = file.text();
    std::string_view line;
    Limit lowest = 0;
    while (takePart(&text, '\n', &line)) lowest = lowerOf(lowest, limitOfLine(line, root, resource));
    return lowest;
}

// The processors that the calling thread may run on. The set has room for more than a kernel is ever built for.
Limit processorsAllowed() {
    cpu_set_t sets[8];
    if (sched_getaffinity(0, sizeof sets, sets) == 0) return static_cast<Limit>(CPU_COUNT_S(sizeof sets, sets));
    return static_cast<Limit>(std::max(sysconf(_SC_NPROCESSORS_ONLN), 0L));
}

Limit memoryOfMachine() {
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageBytes = sysconf(_SC_PAGESIZE);
    Limit bytes = 0;
    if (pages <= 0 || pageBytes <= 0 || __builtin_mul_overflow(pages, pageBytes, &bytes)) return 0;
    return bytes;
}

constexpr const char* ownGroups = "/proc/self/cgroup";
constexpr const char* groupRoot = "/sys/fs/cgroup";

}  // namespace

int processorsOfGroup(const char* groupFile, const char* root) {
    return static_cast<int>(std::min<Limit>(limitOfGroup(groupFile, root, processors), INT_MAX));
}

unsigned long memoryOfGroup(const char* groupFile, const char* root) { return limitOfGroup(groupFile, root, memory); }

int processorsAtDisposal() {
    const Limit count = lowerOf(processorsAllowed(), limitOfGroup(ownGroups, groupRoot, processors));
    return static_cast<int>(std::clamp<Limit>(count, 1, INT_MAX));
}

unsigned long memoryAtDisposal() {
    const Limit bytes = lowerOf(memoryOfMachine(), memoryOfGroup(ownGroups, groupRoot));
    return bytes != 0 ? bytes : ULONG_MAX;
}
