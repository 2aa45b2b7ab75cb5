#include "platform/platform.h"

#include "tests/support/testing.h"

namespace {

namespace Platform = Tarn::Platform;
namespace fs = std::filesystem;

constexpr const char16_t* kModule = u"TestModule.dll";

/// A number as the name or type of a resource.
const char16_t* resource(std::uintptr_t number) { return reinterpret_cast<const char16_t*>(number); }

const char16_t* const kStringTable = resource(6);
const char16_t* const kRawData = resource(10);

/// A module that is released at the end of a scope.
struct Loaded {
    explicit Loaded(const std::u16string& name) : module(Platform::LoadLibraryW(name.c_str())) {}
    ~Loaded() { Platform::FreeLibrary(module); }
    operator HINSTANCE() const { return module; }

    const HINSTANCE module;
};

/// The last error of a call that failed.
DWORD errorOf(const auto& result) {
    EXPECT_FALSE(result);
    return Platform::GetLastError();
}

/// The text that `call` writes into a buffer. `call` returns its length.
std::u16string written(auto call) {
    char16_t buffer[1024] = {};
    const DWORD length = call(buffer);
    EXPECT_EQ(std::u16string(buffer).size(), length);
    return buffer;
}

std::u16string fileName(HINSTANCE module) {
    return written([&](char16_t* buffer) { return Platform::GetModuleFileNameW(module, buffer, 1024); });
}

std::u16string search(const char16_t* name) {
    return written([&](char16_t* buffer) { return Platform::SearchLibraryPathW(name, 1024, buffer); });
}

std::u16string withSlashes(std::u16string path) {
    std::replace(path.begin(), path.end(), u'\\', u'/');
    return path;
}

TEST(Modules, TheProgramItselfHasOneHandle) {
    const HINSTANCE self = Platform::GetModuleHandleW(nullptr);
    ASSERT_NE(self, nullptr);
    EXPECT_EQ(Platform::GetModuleHandleFromAddress(reinterpret_cast<const void*>(&fileName)), self);
    const std::u16string path = fileName(self);
    EXPECT_TRUE(fs::exists(withSlashes(path)));
    EXPECT_EQ(fileName(nullptr), path);
    EXPECT_EQ(Platform::GetModuleHandleW(path.substr(path.rfind(u'\\') + 1).c_str()), self);
    // Loaded as data it is still the program, and freeing it does not unload anything.
    EXPECT_EQ(Platform::LoadLibraryExW(path.c_str(), LOAD_LIBRARY_AS_DATAFILE), self);
    for (int i = 0; i < 3; i++)
        EXPECT_TRUE(Platform::FreeLibrary(self));
    EXPECT_EQ(fileName(self), path);
}

TEST(Modules, ABareNameIsFoundBesideTheProgramWithoutRegardToCase) {
    const Loaded module(kModule);
    ASSERT_NE(module, nullptr) << Platform::GetLastError();
    const std::u16string path = fileName(module);
    for (const char16_t* name : {u"testmodule.DLL", u"TestModule"})
        EXPECT_TRUE(fs::equivalent(withSlashes(search(name)), withSlashes(path)));
    std::u16string lower = withSlashes(path);
    Platform::CharLowerBuffW(lower.data(), static_cast<DWORD>(lower.size()));
    for (const auto& name : {path, lower, std::u16string(u"TESTMODULE"), std::u16string(u"testmodule.dll")}) {
        EXPECT_EQ(Loaded(name), module.module);
        EXPECT_EQ(Platform::GetModuleHandleW(name.c_str()), module.module);
    }
}

TEST(Modules, AModuleStaysUntilItsLastReferenceIsGone) {
    const HINSTANCE first = Platform::LoadLibraryW(kModule);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(Platform::LoadLibraryW(kModule), first);
    for (int references = 2; references > 0; references--) {
        EXPECT_EQ(Platform::GetModuleHandleW(kModule), first); // takes no reference
        EXPECT_TRUE(Platform::FreeLibrary(first));
    }
    EXPECT_EQ(errorOf(Platform::GetModuleHandleW(kModule)), ERROR_MOD_NOT_FOUND);
    EXPECT_FALSE(Platform::FreeLibrary(first));
}

TEST(Modules, OnlyAModulesOwnExportsAreFound) {
    const Loaded module(kModule);
    const auto function = reinterpret_cast<int (*)()>(
        reinterpret_cast<void (*)()>(Platform::GetProcAddressW(module, u"TestModuleFunction")));
    ASSERT_NE(function, nullptr);
    EXPECT_EQ(function(), 42);
    EXPECT_EQ(Platform::GetModuleHandleFromAddress(reinterpret_cast<const void*>(function)), module.module);
    const auto data = reinterpret_cast<const int*>(Platform::GetProcAddressW(module, u"TestModuleData"));
    EXPECT_EQ(data != nullptr ? *data : 0, 851);
    const std::u16string strangers[] = {u"TestDependencyExport", u"testmodulefunction", u"",
                                        u"TestModuleFunctio\u0144", std::u16string(9000, u'x')};
    for (const std::u16string& name : strangers) {
        Platform::SetLastError(0);
        EXPECT_EQ(errorOf(Platform::GetProcAddressW(module, name.c_str())), ERROR_PROC_NOT_FOUND);
    }
    EXPECT_EQ(Platform::GetProcAddressW(Platform::GetModuleHandleW(nullptr), u"TestModuleFunction"), nullptr);
    const HINSTANCE dependency = Platform::GetModuleHandleW(u"TestDependency.dll");
    EXPECT_NE(Platform::GetProcAddressW(dependency, u"TestDependencyExport"), nullptr);
}

TEST(Modules, AFileLoadedForItsDataShowsTheExportsOfTheLoadedModule) {
    const HINSTANCE dataFile = Platform::LoadLibraryExW(search(kModule).c_str(), LOAD_LIBRARY_AS_DATAFILE);
    ASSERT_NE(dataFile, nullptr);
    char16_t buffer[100];
    EXPECT_EQ(Platform::LoadStringW(dataFile, 17, buffer, 100), 9);
    EXPECT_NE(Platform::FindResourceW(dataFile, u"#2", kStringTable), nullptr);
    {
        const Loaded module(kModule);
        EXPECT_NE(Platform::GetProcAddressW(dataFile, u"TestModuleFunction"), nullptr);
        EXPECT_EQ(Platform::GetProcAddressW(dataFile, u"TestModuleFunction"),
                  Platform::GetProcAddressW(module, u"TestModuleFunction"));
    }
    EXPECT_EQ(Platform::GetProcAddressW(dataFile, u"NoSuchFunction"), nullptr);
    EXPECT_TRUE(Platform::FreeLibrary(dataFile));
}

TEST(Modules, AFailedLoadTellsWhy) {
    EXPECT_EQ(errorOf(Platform::LoadLibraryW(u"no\\such\\folder\\Module.dll")), ERROR_MOD_NOT_FOUND);
    EXPECT_EQ(search(u"NoSuchModule.dll"), u"");
    std::ofstream("text.dll") << "This is no module.";
    EXPECT_EQ(errorOf(Platform::LoadLibraryW(u".\\text.dll")), ERROR_BAD_EXE_FORMAT);
    // One file in two forms: cut off after its headers, and whole.
    const fs::path whole = withSlashes(search(kModule));
    fs::copy_file(whole, "cut.dll");
    fs::resize_file("cut.dll", 1000);
    EXPECT_EQ(errorOf(Platform::LoadLibraryW(u".\\cut.dll")), ERROR_BAD_EXE_FORMAT);
    fs::copy_file(whole, "Copy.dll");
    EXPECT_NE(Loaded(u".\\copy"), nullptr);
}

TEST(Modules, InvalidHandlesAreRefusedAndLongPathsTruncated) {
    const HINSTANCE stranger = reinterpret_cast<HINSTANCE>(std::uintptr_t{0x12340000});
    char16_t buffer[16];
    EXPECT_FALSE(Platform::FreeLibrary(nullptr));
    EXPECT_FALSE(Platform::FreeLibrary(stranger));
    EXPECT_FALSE(Platform::GetProcAddressW(stranger, u"x"));
    EXPECT_EQ(errorOf(Platform::GetModuleFileNameW(stranger, buffer, 16)), ERROR_MOD_NOT_FOUND);
    EXPECT_FALSE(Platform::LoadStringW(stranger, 17, buffer, 16));
    EXPECT_FALSE(Platform::FindResourceW(stranger, buffer, kStringTable));
    EXPECT_FALSE(Platform::GetModuleHandleFromAddress(nullptr));
    EXPECT_FALSE(Platform::LoadLibraryW(nullptr));

    const std::u16string path = fileName(nullptr);
    EXPECT_EQ(Platform::GetModuleFileNameW(nullptr, buffer, 5), 5u);
    EXPECT_EQ(Platform::GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(std::u16string(buffer, 4), path.substr(0, 4)); // on Wine no zero follows
    EXPECT_EQ(Platform::SearchLibraryPathW(kModule, 5, buffer), search(kModule).size() + 1);
}

TEST(Resources, StringsAreFoundByIdInBlocksOfSixteen) {
    const Loaded module(kModule);
    const std::tuple<UINT, int, std::u16string> strings[] = {
        {17, 100, u"seventeen"},
        {17, 9, u"seventee"},
        {17, 1, u""},
        {19, 100, u""},
        {65535, 100, u"last"},
        {0, 100, u""},
        {4096, 100, u"\u041F\u0440\u0438\u0432\u0435\u0442"}};
    for (const auto& [id, size, text] : strings) {
        char16_t buffer[100] = u"not touched";
        EXPECT_EQ(Platform::LoadStringW(module, id, buffer, size), static_cast<int>(text.size()));
        EXPECT_EQ(std::u16string(buffer, text.size()), text) << id;
        EXPECT_TRUE(text.empty() || buffer[text.size()] == 0) << id;
    }
    char16_t buffer[100];
    EXPECT_EQ(errorOf(Platform::LoadStringW(module, 33, buffer, 100)), ERROR_RESOURCE_NAME_NOT_FOUND);
    EXPECT_EQ(Platform::LoadStringW(nullptr, 17, buffer, 100), 0); // the program, which has no strings

    const auto find = [&](std::uintptr_t block, const char16_t* type = kStringTable) {
        return Platform::FindResourceW(module, resource(block), type);
    };
    EXPECT_NE(find(257), nullptr);
    EXPECT_NE(Platform::FindResourceW(module, u"#2", u"#6"), nullptr);
    EXPECT_EQ(errorOf(find(258)), ERROR_RESOURCE_NAME_NOT_FOUND);
    EXPECT_EQ(errorOf(find(2, kRawData)), ERROR_RESOURCE_TYPE_NOT_FOUND);
    EXPECT_EQ(Platform::FindResourceW(nullptr, u"#2", kStringTable), nullptr);
}

} // namespace
