#include "platform/fork.h"

namespace Tarn::Platform {

void HandleForks(void (*)(), void (*)(), void (*)()) {}

} // namespace Tarn::Platform
