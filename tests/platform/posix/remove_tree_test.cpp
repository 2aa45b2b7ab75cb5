// What happens when somebody exchanges a folder of a tree for a link while the tree is being removed. The
// moment between looking at the folder and opening it is made long by standing in for the calls that open
// folders.
#include "tests/platform/files_fixture.h"

#include <cstring>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

std::function<void()> beforeOpening; // a folder called "victim"

void meet(const char* name) {
    const std::size_t length = std::strlen(name);
    if (beforeOpening && length >= 6 && std::strcmp(name + length - 6, "victim") == 0)
        std::exchange(beforeOpening, nullptr)();
}

template<class Call>
Call* systems(const char* name) {
    return reinterpret_cast<Call*>(dlsym(RTLD_NEXT, name));
}

} // namespace

// The flags of what is opened in a folder never include those that need a mode.
extern "C" int openat(int directory, const char* name, int flags, ...) {
    static auto* const call = systems<int(int, const char*, int, ...)>("openat");
    meet(name);
    return call(directory, name, flags);
}
extern "C" int openat64(int directory, const char* name, int flags, ...) {
    static auto* const call = systems<int(int, const char*, int, ...)>("openat64");
    meet(name);
    return call(directory, name, flags);
}
extern "C" DIR* opendir(const char* name) {
    static auto* const call = systems<DIR*(const char*)>("opendir");
    meet(name);
    return call(name);
}

class RemoveTree : public Files {};

TEST_F(RemoveTree, LeavesWhatALinkLeadsToThatTookThePlaceOfAFolder) {
    for (const bool isEmptyAfterwards : {false, true}) {
        fs::create_directories("outside");
        fs::create_directories("tree/victim/deep");
        std::ofstream("outside/kept") << "x";
        std::ofstream("tree/victim/deep/gone") << "x";
        std::ofstream("tree/other") << "x";
        beforeOpening = [&] {
            fs::rename("tree/victim", "moved away");
            if (isEmptyAfterwards)
                fs::create_directory("tree/victim");
            else
                fs::create_directory_symlink("../outside", "tree/victim");
        };
        char16_t failed[99];
        EXPECT_TRUE(P::RemoveTreeW(u"tree", failed, 99)) << P::GetLastError();
        EXPECT_FALSE(beforeOpening || fs::exists("tree"));
        EXPECT_TRUE(fs::exists("outside/kept") && fs::exists("moved away/deep/gone"));
        fs::remove_all("moved away");
        fs::remove_all("outside");
    }
}

TEST_F(RemoveTree, GoesAsDeepAsThereAreFoldersAndNamesWhatStops) {
    const int start = open(".", O_RDONLY | O_DIRECTORY);
    for (int depth = 0; depth < 3000; depth++)
        if (mkdir("folder of a name of some length", 0700) != 0 ||
            chdir("folder of a name of some length") != 0)
            FAIL() << depth;
    EXPECT_TRUE(fchdir(start) == 0 && close(start) == 0);
    char16_t failed[99];
    EXPECT_TRUE(P::RemoveTreeW(u"folder of a name of some length", failed, 99)) << P::GetLastError();

    fs::create_directories("tree/a/b\x01");
    {
        const Opened held(u"tree/a/b\uF001/c", kWrite, 0, CREATE_NEW);
        EXPECT_EQ(codeOf([&] { return P::RemoveTreeW(u"tree", failed, 99); }), ERROR_SHARING_VIOLATION);
        EXPECT_EQ(Text(failed), u"a\\b\uF001\\c");
        EXPECT_FALSE(P::RemoveTreeW(u"tree", failed, 4));
        EXPECT_EQ(Text(failed), u"a\\b");
    }
    EXPECT_EQ(codeOf([&] { return P::RemoveTreeW(u"tree/a/b\uF001/c", failed, 99); }), ERROR_DIRECTORY);
    EXPECT_TRUE(P::RemoveTreeW(u"tree/", failed, 99));
}
