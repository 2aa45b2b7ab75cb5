// What happens when somebody exchanges a folder of a tree for a link while the tree is being removed: between
// the moment at which the folder is looked at and the moment at which it is opened.
#include "tests/faults/interposer.h"
#include "tests/files/support.h"

namespace Tarn {
namespace {

class CExchange : public CCallHook {
public:
    explicit CExchange(std::function<void()> toExchange) : exchange(std::move(toExchange)) {}

    int Before(CCall& call) override {
        if (call.name == "opendir" || call.name == "openat64")
            if (std::string_view(call.Path(call.name == "openat64" ? 1 : 0)).ends_with("victim") && exchange)
                std::exchange(exchange, nullptr)();
        return 0;
    }

    std::function<void()> exchange; // null when it has happened
};

class ExchangedFolder : public FolderTest {};

TEST_F(ExchangedFolder, IsNotFollowedToWhatALinkInItsPlaceLeadsTo) {
    for (const bool isEmptyAfterwards : {false, true}) {
        fs::create_directories(folder / "outside");
        fs::create_directories(folder / "tree/victim/deep");
        for (const char* file : {"outside/kept", "tree/victim/deep/gone", "tree/other"})
            WriteBytes(folder / file, "x");
        CExchange hook([&] {
            fs::rename(folder / "tree/victim", folder / "moved away");
            if (isEmptyAfterwards)
                fs::create_directory(folder / "tree/victim");
            else
                fs::create_directory_symlink("../outside", folder / "tree/victim");
        });
        const auto removeTree = [&] {
            const CHookedCalls hooked(hook);
            FileSystem::DelTree(u"tree");
        };
        EXPECT_EQ(FailureOf(removeTree), "");
        EXPECT_FALSE(hook.exchange || fs::exists(folder / "tree"));
        EXPECT_TRUE(fs::exists(folder / "outside/kept") && fs::exists(folder / "moved away/deep/gone"));
        fs::remove_all(folder / "moved away");
    }
}

} // namespace
} // namespace Tarn
