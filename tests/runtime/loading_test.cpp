#include "platform/platform.h"
#include "tests/runtime/started_library.h"

namespace Tarn {
namespace {

const CCapability kCaseTellsFilesApart{Platform::AreFileNamesCaseSensitive()
                                           ? nullptr
                                           : "two files cannot have names that differ in case alone"};

class Loading : public StartedLibrary {
protected:
    Loading() { SetAppTitle(u"T"); }

    static bool isPluginHere() {
        CArray<CUnicodeString> names;
        CMessage::GetUndefinedMessages(names);
        return names.Has(u"MSG_OF_PLUGIN");
    }
};

TEST_F(Loading, InitialisesPlugInsAndReleasesThemAtTheEnd) {
    const CUnicodeString name = copyModule("Plugin.dll", "Plugin.dll");
    ASSERT_NE(LoadDLL(copyModule("FailingPlugin.dll", "Failing.dll")), nullptr);
    HINSTANCE plugin = LoadDLL(name);
    ASSERT_NE(plugin, nullptr);
    EXPECT_TRUE(isPluginHere());
    EXPECT_EQ(Platform::LoadLibraryW(name), plugin);
    EXPECT_EQ(LoadModule(name), plugin);
    EXPECT_EQ(GetAppTitle(), u"T+") << "one failed to initialise, the other was initialised once";
    Clean();
    EXPECT_EQ(GetAppTitle(), u"T+--");
    EXPECT_TRUE(isPluginHere()) << "every reference was released but the test's own";
    Platform::FreeLibrary(plugin);
    EXPECT_FALSE(isPluginHere());
    ASSERT_EQ(handler.shown.size(), 2u);
    EXPECT_EQ(handler.shown[0].text, u"Internal Program Error:\nPlugin, 1.");
    EXPECT_EQ(handler.shown[1].text, u"Internal Program Error:\nPlugin, 2.");

    // No trace of them remains. A plug-in loaded before the start is initialised at the start.
    ASSERT_TRUE(Initialize(nullptr, nullptr));
    Clean();
    ASSERT_NE(LoadDLL(name), nullptr);
    EXPECT_EQ(GetAppTitle(), u"T+--");
    ASSERT_TRUE(Initialize(nullptr, nullptr));
    EXPECT_EQ(GetAppTitle(), u"T+--+");
}

TEST_F(Loading, RefusesPlugInsWhoseStaticObjectsThrow) {
    const CUnicodeString asserting = copyModule("AssertingPlugin.dll", "Asserting.dll");
    const CUnicodeString throwing = copyModule("ThrowingPlugin.dll", "Throwing.dll");
    for (const CUnicodeString& name : {asserting, throwing, asserting}) {
        EXPECT_EQ(LoadDLL(name), nullptr);
        EXPECT_FALSE(isPluginHere());
    }
    // One that stays in memory keeps its message, but is not let in when it is asked for again.
    const CUnicodeString resident = copyModule("ResidentPlugin.dll", "Resident.dll");
    EXPECT_EQ(LoadDLL(resident), nullptr);
    EXPECT_EQ(LoadDLL(resident), nullptr);
    EXPECT_TRUE(handler.shown.empty());
    BeginStaticPart();
    EXPECT_EQ(LoadModule(throwing), nullptr);
    EndStaticPart();
    ASSERT_EQ(handler.shown.size(), 1u);
    EXPECT_EQ(handler.shown[0].text,
              ERR_CANT_LOAD_DLL.SubstParam(throwing, CLastErrorException::GetErrorText(1114)).Ptr());
    // Loading still works, for other plug-ins and on other threads.
    std::thread([&] { EXPECT_NE(LoadDLL(copyModule("Plugin.dll", "Plugin.dll")), nullptr); }).join();
    EXPECT_EQ(GetAppTitle(), u"T+") << "the others were not initialised";
    EXPECT_FALSE(ERR_BAD_ARCHIVE.UnicodeStr().IsEmpty());
    Clean();
    EXPECT_EQ(GetAppTitle(), u"T+-");
}

// So the system's loader starts nothing that was built for another version.
TEST(Library, HasANameWithItsVersion) {
    const HINSTANCE library = GetModuleOfAddress(reinterpret_cast<const void*>(&RequireTarnkitVersion));
    const CUnicodeString name = FileSystem::GetNameExt(FileSystem::GetModuleFileNameW(library));
    EXPECT_GE(name.Find(Format(u"%d.%02d", kTarnkitVersion / 100, kTarnkitVersion % 100)), 0) << name;
}

TEST_F(Loading, SaysWhichVersionsMetWhenAModuleAndTheLibraryDoNotFit) {
    const auto meet = [] { RequireTarnkitVersion(905, GetThisModule()); };
    const auto text = [&](bool isThrown) {
        CThrowingSwitcher throwing(isThrown);
        try {
            meet();
        } catch (CException* e) {
            Warning(e);
            e->Delete();
        }
        SetErrorFlag(false);
        return handler.shown.empty() ? u"" : handler.shown.back().text;
    };
    RequireTarnkitVersion(kTarnkitVersion, GetThisModule());
    EXPECT_EQ(AssertionOf(meet), u"TarnkitStatic:79");
    const CUnicodeString program = FileSystem::GetName(FileSystem::GetEXEFileName());
    const CUnicodeString words =
        u"TarnkitStatic, 79.\n" + program +
        u" was built for version 9.05 of Tarnkit and cannot run with version 8.51, which is loaded.";
    EXPECT_EQ(text(true), CUnicodeString(u"Internal Program Error:\n" + words).Ptr());
    EXPECT_TRUE(text(false).ends_with(words.Ptr()));
    AddResourcePrefix(nullptr, u"Tarnkit");
    SetCurrentLanguageCode(2);
    EXPECT_TRUE(text(true).ends_with(
        u"für Version 9.05 von Tarnkit erstellt und läuft nicht mit der geladenen Version 8.51."));
    Clean();
    EXPECT_TRUE(text(true).ends_with(words.Ptr())) << "without a catalogue";
}

TEST_F(Loading, TellsFilesApartThatDifferInCaseAlone) {
    TARNKIT_TEST_NEEDS(kCaseTellsFilesApart);
    copyModule("FailingPlugin.dll", "twin.dll");
    ASSERT_NE(LoadDLL(copyModule("Plugin.dll", "Twin.dll")), nullptr);
    EXPECT_EQ(GetAppTitle(), u"T+") << "not the one in lower case";
    std::filesystem::remove(folder / "Twin.dll");
    EXPECT_NE(LoadDLL(NameOf(folder / "Twin.dll")), nullptr) << "names are found whatever their case";
}

TEST_F(Loading, ReportsWhatCannotBeLoaded) {
    EXPECT_EQ(LoadDLL(u"NoSuchModule.dll"), nullptr);
    EXPECT_TRUE(handler.shown.empty());
    BeginStaticPart();
    EXPECT_EQ(LoadModule(u"NoSuchModule.dll"), nullptr);
    EXPECT_EQ(LoadDLL(nullptr), nullptr);
    EndStaticPart();
    ASSERT_EQ(handler.shown.size(), 2u);
    EXPECT_EQ(handler.shown[0].text, std::u16string(u"Can't load DLL NoSuchModule.dll.\n") +
                                         CLastErrorException::GetErrorText(126).Ptr());
}

} // namespace
} // namespace Tarn
