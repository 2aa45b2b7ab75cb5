#include <tarnkit/tarnkit.h>

int main() {
    Tarn::Initialize(nullptr, nullptr);
    Tarn::Clean();
}
