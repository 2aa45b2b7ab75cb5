#include "report_memory.h"

#include <iostream>

int main(int argc, char**) {
    std::cout.flush();
    return argc > 1 ? reportMemory() : 0;
}
