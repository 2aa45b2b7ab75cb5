// Modules and languages that change while other threads use them.
#include "tests/runtime/started_library.h"
#include "tests/threads/threads.h"

namespace Tarn {
namespace {

constexpr int kReaders = 3;

CMessage TEST_GREETING(u"TEST_GREETING", 0);

class ModulesOnManyThreads : public StartedLibrary {
protected:
    // Runs `change` on one thread while others run `look`, until it has ended. Returns how often `look` was
    // not content.
    template<class Change, class Look>
    int failuresDuring(Change change, Look look) {
        std::atomic<bool> isOver{false};
        std::atomic<int> failures{0};
        RunOnThreads(1 + kReaders, [&](int index) {
            if (index == 0) {
                change();
                isOver = true;
            }
            while (!isOver)
                failures += !look();
        });
        return failures;
    }
};

TEST_F(ModulesOnManyThreads, LookUpWholeTextsWhileTheLanguageChanges) {
    copyModule("Res1.dll", "Res1.dll");
    copyModule("Res2.dll", "Res2.dll");
    AddResourcePrefix(NameOf(folder), u"Res");
    const std::set<std::u16string> greetings = {u"Hello you", u"\u041F\u0440\u0438\u0432\u0435\u0442, you",
                                                u"Hallo you"};
    const auto change = [] {
        for (int i = 0; i < 60; i++)
            SetCurrentLanguageCode(i % 3);
    };
    const auto look = [&] {
        CArray<CUnicodeString> undefined;
        CMessage passing(u"PASSING_MESSAGE", 0);
        CMessage::GetUndefinedMessages(undefined);
        const int code = GetCurrentLanguageCode();
        return greetings.contains(TEST_GREETING.SubstParam(u"you").Ptr()) &&
               TEST_GREETING.UnicodeStr(2).SubstParam(u"you") == u"Hallo you" &&
               GetLanguageDisplayName(1).Find(u"Russian") > 0 && FindLanguageIndex(code) == code &&
               undefined.Has(u"PASSING_MESSAGE") && !undefined.Has(u"TEST_GREETING");
    };
    EXPECT_EQ(failuresDuring(change, look), 0);
}

TEST_F(ModulesOnManyThreads, LoadPlugInsWhileTextsAreLookedUp) {
    SetAppTitle(u"T");
    const CUnicodeString plugin = copyModule("Plugin.dll", "Plugin.dll");
    const CUnicodeString throwing = copyModule("ThrowingPlugin.dll", "Throwing.dll");
    std::atomic<int> failures{0};
    const auto load = [&] {
        RunOnThreads(kReaders, [&](int) {
            for (int i = 0; i < 10; i++)
                failures += LoadDLL(plugin) == nullptr || LoadDLL(throwing) != nullptr;
        });
    };
    const auto look = [] {
        HINSTANCE module;
        int id;
        return TEST_GREETING.SubstParam(u"you") == u"Hello you" && !FindMessage(u"MSG_OF_PLUGIN", module, id);
    };
    EXPECT_EQ(failuresDuring(load, look), 0);
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(GetAppTitle().Ptr(), std::u16string(u"T+")) << "initialised once";
}

} // namespace
} // namespace Tarn
