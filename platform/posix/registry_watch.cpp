// A change is found by comparing sums of what the key holds. The system says when to look: it reports writes
// to the databases' folders (inotify). That is before what was written counts, so the sums are compared again
// after 1, 2, 4, ... milliseconds, at last every eight seconds; and every quarter of a second where the
// system reports nothing, for instance since the folder does not exist yet.
#include "platform/registry_watch.h"

#include "platform/platform.h"
#include "platform/posix/files/paths.h"
#include "platform/posix/registry/place.h"
#include "platform/posix/support/descriptor.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <iterator>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/inotify.h>
#include <sys/timerfd.h>

namespace Tarn::Platform {

using namespace Posix;

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kLongestPause = 8192; // milliseconds
constexpr int kLongestPauseWithoutReports = 250;
constexpr DWORD kLongestKeyName = 256;
constexpr DWORD kLongestValueName = 16384;

class Sum {
public:
    void Add(const void* bytes, std::size_t size) {
        addByte(size & 0xFF); // so that parts do not run together
        for (std::size_t i = 0; i < size; i++)
            addByte(static_cast<const unsigned char*>(bytes)[i]);
    }
    bool operator==(const Sum&) const = default;

private:
    void addByte(std::uint64_t byte) {
        first = (first ^ byte) * 0x100000001B3;
        second = (second + byte + 1) * 0x9E3779B97F4A7C15;
        second ^= second >> 29;
    }

    std::uint64_t first = 0xCBF29CE484222325, second = 0;
};

bool isGone(LSTATUS result) {
    return result == static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND) ||
           result == static_cast<LSTATUS>(ERROR_KEY_DELETED);
}

LSTATUS addValues(HKEY key, Sum& sum) {
    Vector<char16_t> name(kLongestValueName);
    Vector<char> data(1024);
    for (DWORD index = 0;; index++) {
        DWORD length = kLongestValueName, size = static_cast<DWORD>(data.size()), type = 0;
        const LSTATUS result = RegEnumValueW(key, index, name.data(), &length, &type, data.data(), &size);
        if (result == static_cast<LSTATUS>(ERROR_MORE_DATA) && size > data.size()) {
            data.resize(size);
            index--;
            continue;
        }
        if (result != 0)
            return result == static_cast<LSTATUS>(ERROR_NO_MORE_ITEMS) ? 0 : result;
        sum.Add(name.data(), length * sizeof(char16_t));
        sum.Add(&type, sizeof type);
        sum.Add(data.data(), size);
    }
}

LSTATUS addKey(HKEY key, bool isWithSubKeys, Sum& sum) {
    LSTATUS result = addValues(key, sum);
    for (DWORD index = 0; result == 0; index++) {
        char16_t name[kLongestKeyName];
        DWORD length = kLongestKeyName;
        result = RegEnumKeyExW(key, index, name, &length);
        if (result != 0)
            break;
        sum.Add(name, length * sizeof(char16_t));
        if (!isWithSubKeys)
            continue;
        HKEY subKey;
        result = RegOpenKeyExW(key, name, 0, KEY_READ, &subKey);
        if (isGone(result)) {
            result = 0;
            continue;
        }
        if (result != 0)
            break;
        result = addKey(subKey, true, sum);
        if (isGone(result))
            result = 0;
        Platform::RegCloseKey(subKey);
        sum.Add(nullptr, 0);
    }
    return result == static_cast<LSTATUS>(ERROR_NO_MORE_ITEMS) ? 0 : result;
}

} // namespace

class RegistryWatch {
public:
    RegistryWatch()
        : poller(epoll_create1(EPOLL_CLOEXEC)),
          timer(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC)),
          reports(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}
    ~RegistryWatch() {
        if (key != nullptr)
            Platform::RegCloseKey(key);
    }
    RegistryWatch(const RegistryWatch&) = delete;
    RegistryWatch& operator=(const RegistryWatch&) = delete;

    LSTATUS Open(HKEY watched, bool withSubKeys) {
        isWithSubKeys = withSubKeys;
        if (poller < 0 || timer < 0)
            return RegistryCodeOf(errno);
        if (const LSTATUS failure = RegOpenKeyExW(watched, u"", 0, KEY_READ, &key); failure != 0)
            return failure;
        for (const int descriptor : {static_cast<int>(timer), static_cast<int>(reports)}) {
            epoll_event event = {};
            event.events = EPOLLIN;
            if (descriptor >= 0 && epoll_ctl(poller, EPOLL_CTL_ADD, descriptor, &event) != 0)
                return RegistryCodeOf(errno);
        }
        addReports();
        const LSTATUS result = addKey(key, isWithSubKeys, known);
        setTimer();
        return result;
    }

    LSTATUS Wait(DWORD milliseconds) {
        const Clock::time_point start = Clock::now();
        for (;;) {
            if (const LSTATUS result = look(); result != static_cast<LSTATUS>(ERROR_TIMEOUT))
                return result;
            const auto passed =
                std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
            const bool isLimited = milliseconds != ~DWORD{0};
            if (isLimited && passed >= static_cast<Int64>(milliseconds))
                return ERROR_TIMEOUT;
            const Int64 left = isLimited ? static_cast<Int64>(milliseconds) - passed : kLongestPause;
            pollfd ready = {poller, POLLIN, 0};
            poll(&ready, 1, static_cast<int>(std::min<Int64>(left, kLongestPause)));
        }
    }

    int Descriptor() const { return poller; }

private:
    void addReports() {
        areReported = reports >= 0;
        for (const RegistryKind kind : {RegistryKind::User, RegistryKind::Machine}) {
            const String file = RegistryFile(kind);
            const String folder = file.substr(0, file.rfind('/') + 1);
            const int added =
                file.empty() || reports < 0
                    ? 0
                    : inotify_add_watch(reports, folder.c_str(),
                                        IN_MODIFY | IN_CREATE | IN_MOVED_TO | IN_DELETE | IN_DELETE_SELF);
            areReported = areReported && added >= 0;
        }
    }

    // Whether the key has changed.
    LSTATUS look() {
        char taken[4096];
        const bool isReported = reports >= 0 && read(reports, taken, sizeof taken) > 0;
        while (reports >= 0 && read(reports, taken, sizeof taken) > 0) {
        }
        std::uint64_t expirations;
        [[maybe_unused]] const ssize_t size = read(timer, &expirations, sizeof expirations);
        if (!areReported)
            addReports();
        Sum now;
        const LSTATUS result = addKey(key, isWithSubKeys, now);
        const bool isDeleted = result == static_cast<LSTATUS>(ERROR_KEY_DELETED);
        const bool isChanged = isDeleted ? !wasDeleted : result == 0 && now != known;
        wasDeleted = isDeleted;
        if (isChanged && !isDeleted)
            known = now;
        const int longest = areReported ? kLongestPause : kLongestPauseWithoutReports;
        pause = isReported || isChanged ? 1 : std::min(pause * 2, longest);
        setTimer();
        return isChanged ? LSTATUS{ERROR_SUCCESS} : isDeleted ? result : static_cast<LSTATUS>(ERROR_TIMEOUT);
    }

    void setTimer() {
        itimerspec time = {};
        time.it_value.tv_sec = pause / 1000;
        time.it_value.tv_nsec = pause % 1000 * 1'000'000L;
        timerfd_settime(timer, 0, &time, nullptr);
    }

    const Posix::Descriptor poller, timer, reports;
    HKEY key = nullptr;
    bool isWithSubKeys = false;
    bool areReported = false;
    bool wasDeleted = false;
    int pause = 1; // milliseconds
    Sum known;
};

LSTATUS OpenRegistryWatch(HKEY key, bool withSubKeys, RegistryWatch** watch) {
    *watch = New<RegistryWatch>();
    if (*watch == nullptr)
        return ERROR_NOT_ENOUGH_MEMORY;
    LSTATUS result = ERROR_NOT_ENOUGH_MEMORY;
    try {
        result = (*watch)->Open(key, withSubKeys);
    } catch (const std::bad_alloc&) {
    }
    if (result != 0) {
        CloseRegistryWatch(*watch);
        *watch = nullptr;
    }
    return result;
}

void CloseRegistryWatch(RegistryWatch* watch) { Delete(watch); }

LSTATUS WaitForRegistryChange(RegistryWatch* watch, DWORD milliseconds) {
    try {
        return watch->Wait(milliseconds);
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

HANDLE GetRegistryWaitHandle(const RegistryWatch* watch) {
    return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(watch->Descriptor()));
}

} // namespace Tarn::Platform
