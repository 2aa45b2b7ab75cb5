#include "tests/runtime/started_library.h"

#include <tarnkit/messages.h>
#include <tarnkit/resource_modules.h>

namespace Tarn {
namespace {

constexpr DWORD kModuleNotFound = 126;

class Loading : public StartedLibrary {
protected:
    Loading() { SetAppTitle(u"T"); }

    static bool isPluginHere() {
        CArray<CUnicodeString> names;
        CMessage::GetUndefinedMessages(names);
        return names.Has(u"MSG_OF_PLUGIN");
    }
};

TEST_F(Loading, InitialisesAPlugInAndLetsItGoAtTheEnd) {
    const CUnicodeString name = copyModule("Plugin.dll", "Plugin.dll");
    HINSTANCE plugin = LoadDLL(name);
    ASSERT_NE(plugin, nullptr);
    EXPECT_TRUE(isPluginHere());
    EXPECT_EQ(LoadModule(name), plugin);
    EXPECT_EQ(GetAppTitle(), u"T+") << "initialised once";
    Clean();
    EXPECT_EQ(GetAppTitle(), u"T+-");
    EXPECT_FALSE(isPluginHere()) << "every reference was given back";

    // Nothing of it is left behind; before a start it waits for the start.
    ASSERT_TRUE(Initialize(nullptr, nullptr));
    Clean();
    ASSERT_NE(LoadDLL(name), nullptr);
    EXPECT_EQ(GetAppTitle(), u"T+-");
    ASSERT_TRUE(Initialize(nullptr, nullptr));
    EXPECT_EQ(GetAppTitle(), u"T+-+");
}

TEST_F(Loading, ShowsTheFailuresOfAPlugInAndGoesOn) {
    ASSERT_NE(LoadDLL(copyModule("FailingPlugin.dll", "A.dll")), nullptr);
    ASSERT_NE(LoadDLL(copyModule("Plugin.dll", "B.dll")), nullptr);
    EXPECT_EQ(GetAppTitle(), u"T+");
    Clean();
    EXPECT_EQ(GetAppTitle(), u"T+--");
    ASSERT_EQ(handler.shown.size(), 2u);
    EXPECT_EQ(handler.shown[0].text, u"Internal Program Error:\nPlugin, 1.");
    EXPECT_EQ(handler.shown[1].text, u"Internal Program Error:\nPlugin, 2.");
    EXPECT_FALSE(isPluginHere());
}

TEST_F(Loading, ReportsWhatCannotBeLoaded) {
    EXPECT_EQ(LoadDLL(u"NoSuchModule.dll"), nullptr);
    EXPECT_TRUE(handler.shown.empty());
    BeginStaticPart();
    EXPECT_EQ(LoadModule(u"NoSuchModule.dll"), nullptr);
    EXPECT_EQ(LoadDLL(nullptr), nullptr);
    EndStaticPart();
    SetErrorFlag(false);
    ASSERT_EQ(handler.shown.size(), 2u);
    EXPECT_EQ(handler.shown[0].text, std::u16string(u"Can't load DLL NoSuchModule.dll.\n") +
                                         CLastErrorException::GetErrorText(kModuleNotFound).Ptr());
}

} // namespace
} // namespace Tarn
