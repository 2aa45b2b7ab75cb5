// What a program is asked for with an argument: the most memory that it had, in bytes. What the system counts
// for a process that has ended includes its parent's.
#pragma once

#include <stdio.h>

inline int reportMemory() {
    char line[256];
    unsigned long kilobytes = 0;
    FILE* const file = fopen("/proc/self/status", "r");
    while (file != nullptr && fgets(line, sizeof line, file) != nullptr && kilobytes == 0)
        sscanf(line, "VmHWM: %lu", &kilobytes);
    return printf("%lu\n", 1024 * kilobytes) > 2 ? 0 : 1;
}
