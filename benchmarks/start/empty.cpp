#include "report_memory.h"

int main(int argc, char**) { return argc > 1 ? reportMemory() : 0; }
