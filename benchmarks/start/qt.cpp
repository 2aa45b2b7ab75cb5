#include "report_memory.h"

#include <QCoreApplication>

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    return argc > 1 ? reportMemory() : 0;
}
