#include "report_memory.h"

#include <tarnkit/tarnkit.h>

int main(int argc, char**) {
    Tarn::Initialize(nullptr, nullptr);
    Tarn::Clean();
    return argc > 1 ? reportMemory() : 0;
}
