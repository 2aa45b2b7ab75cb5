// A module that exports nothing of the message protocol.
#include <tarnkit/export.h>

extern "C" TARNKIT_MODULE_EXPORT int answerOfBareModule() { return 42; }
