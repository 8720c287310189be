#include "faults.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <sstream>
#include <utility>

#include "failing_new.h"
#include "ktb/lock.h"

namespace {

// What is known of an open handle: its file, and the write failure that it remembers.
struct Handle {
    std::string file;
    int failure = np_ok;
};

FileFaults* current = nullptr;
thread_local int nesting = 0;  // depth of calls that the file layer makes of itself
std::mutex mutex;              // guards the handles, and the faults' counting

std::map<np_file*, Handle>& handles() {
    static std::map<np_file*, Handle> open;
    return open;
}

// A handle is used by one thread at a time, and stays where it is while others come and go.
Handle& handleOf(np_file* file) {
    const std::lock_guard<std::mutex> guard(mutex);
    return handles()[file];
}

void noteOpened(np_file* file, std::string name) { handleOf(file) = {.file = std::move(name)}; }

Handle takeClosed(np_file* file) {
    const std::lock_guard<std::mutex> guard(mutex);
    Handle handle = handles()[file];
    handles().erase(file);
    return handle;
}

struct Nested {
    Nested() { ++nesting; }
    ~Nested() { --nesting; }
    Nested(const Nested&) = delete;
    Nested& operator=(const Nested&) = delete;
};

std::string lastPart(const char* path) {
    const std::string text(path != nullptr ? path : "");
    return text.substr(text.rfind('/') + 1);
}

bool fails(FileCall call, const std::string& file) {
    const std::lock_guard<std::mutex> guard(mutex);
    return current != nullptr && nesting == 0 && current->fails(call, file);
}

int failureOf(FileCall call, const std::string& file) { return fails(call, file) ? current->fault().code : np_ok; }

// How much of a transfer that fails is made all the same.
unsigned long transferred(unsigned long size) { return current->fault().half ? size / 2 : 0; }

const std::string& fileOf(np_file* file) { return handleOf(file).file; }

// A handle with a failure behind it has nothing to lend: the call that it forces upon the caller reports the failure.
bool lends(np_file* file) {
    return handleOf(file).failure == np_ok && (current == nullptr || !current->isActive() || current->fault().lending);
}

}  // namespace

const char* nameOf(FileCall call) {
    static const char* const names[] = {"open",  "tmpfile", "tmpdir", "pparse", "pcat", "getb",  "putb", "seek64", "stat",
                                        "trunc", "flush",   "close",  "unlink", "hold", "seize", "list", "lock",   "none"};
    return names[static_cast<int>(call)];
}

long openFileHandles() {
    const std::lock_guard<std::mutex> guard(mutex);
    return static_cast<long>(handles().size());
}

FileFaults::FileFaults(FileFault fault) : fault_(std::move(fault)) { current = this; }
FileFaults::~FileFaults() { current = nullptr; }

void FileFaults::during(const std::function<void()>& work) {
    const bool before = active_;
    active_ = true;
    work();
    active_ = before;
}

std::string FileFaults::description() const {
    std::ostringstream text;
    text << "file fault: call " << fault_.nth << (fault_.lasting ? " and all after it" : "") << " of kind "
         << nameOf(fault_.call) << " fails with code " << fault_.code;
    return text.str();
}

bool FileFaults::fails(FileCall call, const std::string& file) {
    if (!active_) return false;
    if (fault_.call != FileCall::any && fault_.call != call) return false;
    if (file.compare(0, fault_.file.size(), fault_.file) != 0) return false;
    ++met_;
    const bool failing = fault_.lasting ? met_ >= fault_.nth : met_ == fault_.nth;
    if (failing && injectedCall_ == FileCall::any) injectedCall_ = call;
    return failing;
}

void MemoryFaults::during(const std::function<void()>& work) {
    failing_new::failAt(lasting_ ? std::max(nth_ - met_, 0L) : nth_ - met_, lasting_);
    work();
    met_ += failing_new::made;
    if (failing_new::stop()) injected_ = true;
}

std::string MemoryFaults::description() const {
    std::ostringstream text;
    text << "memory fault: allocation " << nth_ << (lasting_ ? " and all after it" : "") << " fails";
    return text.str();
}

void PairOfFaults::during(const std::function<void()>& work) {
    file_.during([&] { memory_.during(work); });
}

bool PairOfFaults::isLasting() const {
    if (bothInjected()) return true;
    return file_.injected() ? file_.isLasting() : memory_.isLasting();
}

extern "C" {
int __real_np_fio_open(const char* path, int mode, np_file** file);
int __real_np_fio_tmpfile(const char* directory, const char* prefix, char* path, unsigned long pathSize, np_file** file);
int __real_np_fio_tmpdir(char* buffer, unsigned long size);
int __real_np_fio_pparse(const char* path, char* directory, unsigned long directorySize, char* name, unsigned long nameSize);
int __real_np_fio_pcat(const char* directory, const char* name, char* path, unsigned long size);
unsigned long __real_np_fio_getb(np_file* file, void* buffer, unsigned long size);
unsigned long __real_np_fio_putb(np_file* file, const void* buffer, unsigned long size);
const unsigned char* __real_np_fio_view(np_file* file, unsigned long* size);
unsigned char* __real_np_fio_room(np_file* file, unsigned long* size);
long __real_np_fio_seek64(np_file* file, long offset, int origin);
int __real_np_fio_stat64(const char* path, np_status64* status);
int __real_np_fio_trunc(np_file* file);
int __real_np_fio_bufmode(np_file* file, int mode);
int __real_np_fio_close(np_file* file);
int __real_np_fio_unlink(const char* path);
int __real_np_fio_hold(np_file* file, int patient);
int __real_np_fio_seize(np_file* file);
int __real_np_fio_list(const char* directory, np_name_visitor visitor, void* context);
ktLock __real_ktLockCreate(int kind, int flags);

int __wrap_np_fio_open(const char* path, int mode, np_file** file);
int __wrap_np_fio_tmpfile(const char* directory, const char* prefix, char* path, unsigned long pathSize, np_file** file);
int __wrap_np_fio_tmpdir(char* buffer, unsigned long size);
int __wrap_np_fio_pparse(const char* path, char* directory, unsigned long directorySize, char* name, unsigned long nameSize);
int __wrap_np_fio_pcat(const char* directory, const char* name, char* path, unsigned long size);
unsigned long __wrap_np_fio_getb(np_file* file, void* buffer, unsigned long size);
unsigned long __wrap_np_fio_putb(np_file* file, const void* buffer, unsigned long size);
const unsigned char* __wrap_np_fio_view(np_file* file, unsigned long* size);
unsigned char* __wrap_np_fio_room(np_file* file, unsigned long* size);
long __wrap_np_fio_seek64(np_file* file, long offset, int origin);
int __wrap_np_fio_stat64(const char* path, np_status64* status);
int __wrap_np_fio_trunc(np_file* file);
int __wrap_np_fio_bufmode(np_file* file, int mode);
int __wrap_np_fio_close(np_file* file);
int __wrap_np_fio_unlink(const char* path);
int __wrap_np_fio_hold(np_file* file, int patient);
int __wrap_np_fio_seize(np_file* file);
int __wrap_np_fio_list(const char* directory, np_name_visitor visitor, void* context);
ktLock __wrap_ktLockCreate(int kind, int flags);

int __wrap_np_fio_open(const char* path, int mode, np_file** file) {
    *file = nullptr;
    if (const int code = failureOf(FileCall::open, lastPart(path))) return code;
    const Nested nested;
    const int code = __real_np_fio_open(path, mode, file);
    if (code == np_ok) noteOpened(*file, lastPart(path));
    return code;
}

int __wrap_np_fio_tmpfile(const char* directory, const char* prefix, char* path, unsigned long pathSize, np_file** file) {
    *file = nullptr;
    if (const int code = failureOf(FileCall::tmpfile, prefix)) return code;
    const Nested nested;
    const int code = __real_np_fio_tmpfile(directory, prefix, path, pathSize, file);
    if (code == np_ok) noteOpened(*file, lastPart(path));
    return code;
}

int __wrap_np_fio_tmpdir(char* buffer, unsigned long size) {
    if (const int code = failureOf(FileCall::tmpdir, "")) return code;
    return __real_np_fio_tmpdir(buffer, size);
}

int __wrap_np_fio_pparse(const char* path, char* directory, unsigned long directorySize, char* name, unsigned long nameSize) {
    if (const int code = failureOf(FileCall::pparse, lastPart(path))) return code;
    return __real_np_fio_pparse(path, directory, directorySize, name, nameSize);
}

int __wrap_np_fio_pcat(const char* directory, const char* name, char* path, unsigned long size) {
    if (const int code = failureOf(FileCall::pcat, name)) return code;
    return __real_np_fio_pcat(directory, name, path, size);
}

unsigned long __wrap_np_fio_getb(np_file* file, void* buffer, unsigned long size) {
    const bool failing = fails(FileCall::getb, fileOf(file));
    return __real_np_fio_getb(file, buffer, failing ? transferred(size) : size);
}

unsigned long __wrap_np_fio_putb(np_file* file, const void* buffer, unsigned long size) {
    int& failure = handleOf(file).failure;
    if (failure != np_ok) return 0;
    if (!fails(FileCall::putb, fileOf(file))) return __real_np_fio_putb(file, buffer, size);
    failure = current->fault().code;
    return __real_np_fio_putb(file, buffer, transferred(size));
}

const unsigned char* __wrap_np_fio_view(np_file* file, unsigned long* size) {
    *size = 0;
    return lends(file) ? __real_np_fio_view(file, size) : nullptr;
}

unsigned char* __wrap_np_fio_room(np_file* file, unsigned long* size) {
    *size = 0;
    return lends(file) ? __real_np_fio_room(file, size) : nullptr;
}

long __wrap_np_fio_seek64(np_file* file, long offset, int origin) {
    return fails(FileCall::seek64, fileOf(file)) ? -1 : __real_np_fio_seek64(file, offset, origin);
}

int __wrap_np_fio_stat64(const char* path, np_status64* status) {
    if (const int code = failureOf(FileCall::stat64, lastPart(path))) return code;
    return __real_np_fio_stat64(path, status);
}

int __wrap_np_fio_trunc(np_file* file) {
    const Handle& handle = handleOf(file);
    if (handle.failure != np_ok) return handle.failure;
    if (const int code = failureOf(FileCall::trunc, handle.file)) return code;
    return __real_np_fio_trunc(file);
}

int __wrap_np_fio_bufmode(np_file* file, int mode) {
    Handle& handle = handleOf(file);
    if (handle.failure == np_ok) handle.failure = failureOf(FileCall::bufmode, handle.file);
    return handle.failure != np_ok ? handle.failure : __real_np_fio_bufmode(file, mode);
}

int __wrap_np_fio_close(np_file* file) {
    if (file == nullptr) return __real_np_fio_close(file);
    const Handle handle = takeClosed(file);
    const int injected = failureOf(FileCall::close, handle.file);
    const int code = __real_np_fio_close(file);
    if (handle.failure != np_ok) return handle.failure;
    return injected != np_ok ? injected : code;
}

int __wrap_np_fio_unlink(const char* path) {
    if (const int code = failureOf(FileCall::unlink, lastPart(path))) return code;
    return __real_np_fio_unlink(path);
}

int __wrap_np_fio_hold(np_file* file, int patient) {
    if (const int code = failureOf(FileCall::hold, fileOf(file))) return code;
    return __real_np_fio_hold(file, patient);
}

int __wrap_np_fio_seize(np_file* file) {
    if (const int code = failureOf(FileCall::seize, fileOf(file))) return code;
    return __real_np_fio_seize(file);
}

int __wrap_np_fio_list(const char* directory, np_name_visitor visitor, void* context) {
    if (const int code = failureOf(FileCall::list, lastPart(directory))) return code;
    return __real_np_fio_list(directory, visitor, context);
}

ktLock __wrap_ktLockCreate(int kind, int flags) {
    return fails(FileCall::lock, "") ? nullptr : __real_ktLockCreate(kind, flags);
}
}
