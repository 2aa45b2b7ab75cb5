#include "platform/poison.h"

namespace Tarn {

void poisonMemory(const void* start, std::size_t size) { Platform::Poison(start, size); }

void unpoisonMemory(const void* start, std::size_t size) { Platform::Unpoison(start, size); }

} // namespace Tarn
