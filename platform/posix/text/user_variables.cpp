#include "platform/posix/text/user_variables.h"

#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <cstring>
#include <iterator>

namespace Tarn::Platform::Posix {
namespace {

constexpr std::size_t kMostVariables = 254; // that are remembered

constexpr struct {
    const char* name; // with the equals sign
    const char* UserVariables::*value;
} kVariables[] = {
    {"LC_ALL=", &UserVariables::lcAll},       {"LC_TIME=", &UserVariables::lcTime},
    {"LANG=", &UserVariables::lang},          {"TZ=", &UserVariables::zone},
    {"LOCPATH=", &UserVariables::localePath},
};

/// The environment as it was last read, and what was found there.
///
/// Readers compare its strings by their addresses and take no lock. The version is odd while somebody writes,
/// and a reader that finds another version afterwards reads the environment itself. A string that a program
/// has put there itself may change its value in place, but not its name.
class Memory {
public:
    bool Recall(UserVariables& variables) const {
        const unsigned before = version.load(std::memory_order_acquire);
        char** const strings = environ;
        if (before % 2 != 0 || strings == nullptr || environment.load(std::memory_order_acquire) != strings)
            return false;
        // The end is compared too. A shorter environment differs at its end, before it is read beyond.
        const std::size_t size = count.load(std::memory_order_acquire);
        for (std::size_t i = 0; i <= size; i++)
            if (strings[i] != known[i].load(std::memory_order_acquire))
                return false;
        for (std::size_t i = 0; i < std::size(kVariables); i++)
            variables.*kVariables[i].value = values[i].load(std::memory_order_acquire);
        return version.load(std::memory_order_relaxed) == before;
    }

    void Remember(const UserVariables& variables, std::size_t size) {
        unsigned before = version.load(std::memory_order_relaxed);
        if (size > kMostVariables || before % 2 != 0 ||
            !version.compare_exchange_strong(before, before + 1, std::memory_order_relaxed))
            return;
        environment.store(environ, std::memory_order_release);
        count.store(size, std::memory_order_release);
        for (std::size_t i = 0; i <= size; i++)
            known[i].store(environ[i], std::memory_order_release);
        for (std::size_t i = 0; i < std::size(kVariables); i++)
            values[i].store(variables.*kVariables[i].value, std::memory_order_release);
        version.store(before + 2, std::memory_order_release);
    }

private:
    std::atomic<unsigned> version = 0;
    std::atomic<char**> environment = nullptr;
    std::atomic<std::size_t> count = 0;
    std::atomic<const char*> values[std::size(kVariables)] = {};
    std::atomic<char*> known[kMostVariables + 1] = {}; // null at the end
};

constinit Memory memory;

void readString(const char* string, UserVariables& variables) {
    if (*string != 'L' && *string != 'T')
        return;
    for (const auto& [name, value] : kVariables)
        if (const std::size_t length = std::strlen(name);
            variables.*value == nullptr && std::strncmp(string, name, length) == 0)
            variables.*value = string + length;
}

} // namespace

const char* UserVariables::TimeLocale() const {
    for (const char* name : {lcAll, lcTime, lang})
        if (name != nullptr && *name != '\0')
            return name;
    return nullptr;
}

UserVariables ReadUserVariables() {
    UserVariables variables;
    if (environ == nullptr || memory.Recall(variables))
        return variables;
    variables = {};
    std::size_t size = 0;
    for (; environ[size] != nullptr; size++)
        readString(environ[size], variables);
    memory.Remember(variables, size);
    return variables;
}

} // namespace Tarn::Platform::Posix
