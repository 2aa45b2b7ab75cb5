#include <tarnkit/tarnkit.h>

int main() { Tarn::GetMemorySwitches(); }
