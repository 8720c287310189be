#include "standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

bool holdStandardStreams() {
    for (int handle = STDIN_FILENO; handle <= STDERR_FILENO; ++handle) {
        if (fcntl(handle, F_GETFD) >= 0) continue;
        const int wrongWay = handle == STDIN_FILENO ? O_WRONLY : O_RDONLY;
        if (open("/dev/null", wrongWay) != handle) return false;  // the lowest number that is free
    }
    return true;
}
