#include "streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <initializer_list>

void fillStandardStreams() {
    // An opened file gets the lowest number that is free.
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(stream, F_GETFD) < 0) open("/dev/null", O_RDONLY | O_CLOEXEC);
}

bool hasStandardOutput() {
    const int flags = fcntl(STDOUT_FILENO, F_GETFL);
    return flags >= 0 && (flags & O_ACCMODE) != O_RDONLY;
}
