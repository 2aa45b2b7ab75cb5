#include "tests/runtime/started_library.h"

namespace Tarn {
namespace {

class Loading : public StartedLibrary {
protected:
    Loading() { SetAppTitle(u"T"); }

    static bool isPluginHere() {
        CArray<CUnicodeString> names;
        CMessage::GetUndefinedMessages(names);
        return names.Has(u"MSG_OF_PLUGIN");
    }
};

TEST_F(Loading, InitialisesPlugInsAndLetsThemGoAtTheEnd) {
    const CUnicodeString name = copyModule("Plugin.dll", "Plugin.dll");
    ASSERT_NE(LoadDLL(copyModule("FailingPlugin.dll", "Failing.dll")), nullptr);
    HINSTANCE plugin = LoadDLL(name);
    ASSERT_NE(plugin, nullptr);
    EXPECT_TRUE(isPluginHere());
    EXPECT_EQ(LoadModule(name), plugin);
    EXPECT_EQ(GetAppTitle(), u"T+") << "one could not be initialised, the other was once";
    Clean();
    EXPECT_EQ(GetAppTitle(), u"T+--");
    EXPECT_FALSE(isPluginHere()) << "every reference was given back";
    ASSERT_EQ(handler.shown.size(), 2u);
    EXPECT_EQ(handler.shown[0].text, u"Internal Program Error:\nPlugin, 1.");
    EXPECT_EQ(handler.shown[1].text, u"Internal Program Error:\nPlugin, 2.");

    // Nothing of them is left behind; before a start they wait for the start.
    ASSERT_TRUE(Initialize(nullptr, nullptr));
    Clean();
    ASSERT_NE(LoadDLL(name), nullptr);
    EXPECT_EQ(GetAppTitle(), u"T+--");
    ASSERT_TRUE(Initialize(nullptr, nullptr));
    EXPECT_EQ(GetAppTitle(), u"T+--+");
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
