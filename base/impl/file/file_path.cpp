// Paths: splitting and joining them, and the directory for temporary files.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "ktb/fio.h"

const char np_dir_listsep = ':';

// Puts `length` bytes and a NUL into a buffer that is known to be large enough.
static void putText(char* buffer, const char* text, std::size_t length) {
    std::memcpy(buffer, text, length);
    buffer[length] = 0;
}

extern "C" int np_fio_tmpdir(char* buffer, unsigned long size) {
    const char* directory = std::getenv("TMPDIR");
    if (!directory || !*directory) directory = "/tmp";
    const std::size_t length = std::strlen(directory);
    if (length >= size) return np_err_name;
    putText(buffer, directory, length);
    return np_ok;
}

extern "C" int np_fio_pparse(const char* path, char* directory, unsigned long directorySize, char* name,
                             unsigned long nameSize) {
    const char* slash = std::strrchr(path, '/');
    const char* last = slash ? slash + 1 : path;
    // The slash of a file in the root is its directory and stays.
    const auto directoryLength = static_cast<std::size_t>(slash ? (slash == path ? 1 : slash - path) : 0);
    const std::size_t nameLength = std::strlen(last);
    if (nameLength == 0 || nameLength >= nameSize || directoryLength >= directorySize) return np_err_name;
    putText(directory, path, directoryLength);
    putText(name, last, nameLength);
    return np_ok;
}

extern "C" int np_fio_pcat(const char* directory, const char* name, char* path, unsigned long size) {
    std::size_t directoryLength = std::strlen(directory);
    const bool joined = directoryLength > 0;
    while (directoryLength > 0 && directory[directoryLength - 1] == '/') --directoryLength;
    if (joined) name += std::strspn(name, "/");
    const std::size_t nameLength = std::strlen(name);
    const std::size_t nameStart = directoryLength + (joined ? 1 : 0);
    if (nameStart >= size || nameLength >= size - nameStart) return np_err_name;
    std::copy_n(directory, directoryLength, path);
    if (joined) path[directoryLength] = '/';
    putText(path + nameStart, name, nameLength);
    return np_ok;
}
