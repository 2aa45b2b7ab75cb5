// What a power cut can leave of a document that is being saved.
//
// A recorder follows every call of a save that changes the disk. After each of them it asks what the disk may
// hold if the power fails now: the contents of a file are safe unless something was written after the file
// was last stored; each change of a folder since that was last stored may have reached the disk or not, on
// its own. In every such case, the document's name must stand for the whole old or the whole new document.
#include "tests/faults/interposer.h"
#include "tests/files/support.h"

#include <tarnkit/tarnkit.h>

#include <fcntl.h>

namespace Tarn {
namespace {

constexpr unsigned kMostChanges = 12; // of folders, that may be missing at a time

class CDisk : public CCallHook {
public:
    /// If the document is not there, it may be in `source`.
    CDisk(const Path& ofDocument, const Path& source = {}) : places{ofDocument, source} {
        for (const Path& path : places)
            if (fs::exists(path))
                stored[path] = names[path] = add(BytesOf(path));
    }

    int Before(CCall&) override { return 0; }

    void After(const CCall& call) override {
        if (call.result < 0)
            return;
        const auto descriptor = static_cast<int>(call.arguments[0]);
        if (call.name == "open64")
            return open(call);
        if (call.name == "rename" || call.name == "renameat2" || call.name == "link") {
            const int first = call.name == "renameat2" ? 1 : 0;
            const Path from = call.Path(first), to = call.Path(2 * first + 1);
            change(to.parent_path(), {{to, names.at(from)}});
            if (call.name != "link")
                changes.back().entries.emplace_back(from, -1), names.erase(from);
        } else if (call.name == "unlink") {
            change(Path(call.Path(0)).parent_path(), {{call.Path(0), -1}});
        } else if (call.name == "fsync" || call.name == "fdatasync") {
            store(descriptor);
        } else if (call.name == "close") {
            files.erase(descriptor), folders.erase(descriptor);
            return;
        } else if (const int target =
                       call.name == "copy_file_range" ? static_cast<int>(call.arguments[2]) : descriptor;
                   files.contains(target) && std::set<std::string_view>{"write", "pwrite64", "ftruncate64",
                                                                        "copy_file_range", "fchown", "fchmod"}
                                                 .contains(call.name)) {
            inodes[files[target]] = {contentsOf(target), false};
        } else {
            return;
        }
        steps++;
        look();
    }

    /// What the document may be if the power fails now, or has failed at any time.
    std::set<Bytes> present, all;
    int steps = 0;

    inline static const Bytes kMissing = "(missing)", kTorn = "(torn)";

private:
    struct CInode {
        Bytes contents;
        bool isStored;
    };
    struct CChange {
        Path folder;
        std::vector<std::pair<Path, int>> entries; // -1 for a name that is gone
    };

    const Path places[2]; // of the document
    std::vector<CInode> inodes;
    std::map<int, int> files;    // by descriptor
    std::map<int, Path> folders; // the same
    std::map<Path, int> names;   // as the system shows them
    std::map<Path, int> stored;  // as they are on the disk
    std::vector<CChange> changes;

    int add(const Bytes& contents) {
        inodes.push_back({contents, true});
        return static_cast<int>(inodes.size()) - 1;
    }

    static Bytes contentsOf(int descriptor) { return BytesOf("/proc/self/fd/" + std::to_string(descriptor)); }

    void open(const CCall& call) {
        const Path path = call.Path(0);
        const auto descriptor = static_cast<int>(call.result);
        if (fs::is_directory(path)) {
            folders[descriptor] = path;
            return;
        }
        if (!names.contains(path)) {
            const int inode = add(contentsOf(descriptor));
            if ((call.arguments[1] & O_CREAT) != 0 && path.string().starts_with(fs::current_path().string()))
                change(path.parent_path(), {{path, inode}});
            else
                names[path] = inode; // was there before
        }
        files[descriptor] = names[path];
        if ((call.arguments[1] & O_TRUNC) != 0)
            inodes[names[path]] = {"", false};
        look();
    }

    void change(const Path& folder, const std::vector<std::pair<Path, int>>& entries) {
        changes.push_back({folder, entries});
        for (const auto& [name, inode] : entries)
            if (inode < 0)
                names.erase(name);
            else
                names[name] = inode;
    }

    void store(int descriptor) {
        if (files.contains(descriptor))
            inodes[files[descriptor]].isStored = true;
        if (!folders.contains(descriptor))
            return;
        std::erase_if(changes, [&](const CChange& done) {
            const bool isStored = done.folder == folders[descriptor];
            if (isStored)
                apply(done, stored);
            return isStored;
        });
    }

    static void apply(const CChange& change, std::map<Path, int>& entries) {
        for (const auto& [name, inode] : change.entries)
            entries[name] = inode;
    }

    // Fails the power in every way.
    void look() {
        ASSERT_LE(changes.size(), kMostChanges);
        present.clear();
        for (unsigned subset = 0; subset < 1U << changes.size(); subset++) {
            std::map<Path, int> entries = stored;
            for (unsigned i = 0; i < changes.size(); i++)
                if ((subset >> i & 1) != 0)
                    apply(changes[i], entries);
            const auto place = std::ranges::find_if(
                places, [&](const Path& path) { return entries.contains(path) && entries[path] >= 0; });
            const CInode* inode = place != std::end(places) ? &inodes[entries[*place]] : nullptr;
            present.insert(inode == nullptr ? kMissing : inode->isStored ? inode->contents : kTorn);
        }
        all.insert(present.begin(), present.end());
    }
};

const CUnicodeString kText = CUnicodeString(u"new\n") + CUnicodeString(u'n', 5000);

void saveThrough(const CUnicodeString& dir, const CUnicodeString& name) {
    const CUnicodeString temp = TempFile::NewInDir(dir, u"doc");
    CFile file(temp, CFile::ForWriting);
    CArchive archive(&file, CArchive::Storing, 512);
    archive << kText;
    archive.Close();
    file.Close();
    TempFile::MakePermanent(temp, name);
}

void writeNaively(const CUnicodeString& name, int flags) {
    CFile file(name, CFile::ForWriting | flags);
    file.Write("new", 3);
    file.Close();
}

// A way to save, whether it keeps the promise, and whether it only replaces.
const struct CSave {
    const char* name;
    std::function<void(const CUnicodeString&)> save;
    bool isSafe = true;
    bool needsOld = false;
} kSaves[] = {
    {"recipe", [](const CUnicodeString& name) { saveThrough(FileSystem::GetDrivePath(name), name); }},
    {"from another disk", [](const CUnicodeString& name) { saveThrough(u"/dev/shm", name); }},
    {"text", [](const CUnicodeString& name) { CFile::WriteText(name, kText); }},
    {"lines", [](const CUnicodeString& name) { CFile::WriteText(name, CArray<CUnicodeString>(3)); }},
    {"bytes", [](const CUnicodeString& name) { CFile::WriteANSIText(name, kText, 65001); }},
    {"settings",
     [](const CUnicodeString& name) {
         CIniFile file(name);
         file.SetString(u"s", u"k", u"v");
         file.Save();
     },
     true, true},
    {"truncate and write", [](const CUnicodeString& name) { writeNaively(name, CFile::Create); }, false},
    {"overwrite", [](const CUnicodeString& name) { writeNaively(name, 0); }, false, true},
    {"move without storing",
     [](const CUnicodeString& name) {
         writeNaively(u"aside", CFile::Create);
         fs::rename(PathOf(FileSystem::GetCurrentDir()) / "aside", PathOf(name));
     },
     false},
};

class DiskModel : public FolderTest, public testing::WithParamInterface<bool> {};

TEST_P(DiskModel, ADocumentIsWholeWheneverThePowerFails) {
    const Bytes old = "[s]\nk=old\n";
    const Path document = fs::canonical(folder) / "document";
    for (const CSave& save : kSaves)
        for (const bool isLink : {false, true}) {
            const bool isNew = GetParam();
            if ((isNew && (isLink || save.needsOld)) || (isLink && !save.isSafe))
                continue;
            SCOPED_TRACE(std::string(save.name) + (isLink ? " through a link" : ""));
            for (const auto& entry : fs::directory_iterator(folder))
                fs::remove(entry);
            if (!isNew)
                WriteBytes(document, old);
            if (isLink)
                fs::create_symlink("document", folder / "link");
            CDisk disk(document);
            {
                const CHookedCalls hooked(disk);
                save.save(Full(isLink ? "link" : "document"));
            }
            const Bytes written = BytesOf(document);
            const std::set<Bytes> allowed = {isNew ? CDisk::kMissing : old, written};
            ASSERT_NE(written, old);
            EXPECT_EQ(disk.all == allowed, save.isSafe) << testing::PrintToString(disk.all);
            EXPECT_EQ(disk.present == std::set{written}, save.isSafe) << "when all is done";
            EXPECT_GE(disk.steps, save.isSafe ? 6 : 1);
            EXPECT_TRUE(!isLink || fs::is_symlink(folder / "link"));
            TempFile::DeleteAll();
        }
}

class DiskModelOfAMove : public FolderTest {};

TEST_F(DiskModelOfAMove, AMovedFileIsSomewhereWheneverThePowerFails) {
    const Path source = "/dev/shm/tarnkit-moved-" + std::to_string(getpid());
    const Path document = fs::canonical(folder) / "document";
    WriteBytes(source, "moved");
    CDisk disk(document, source);
    {
        const CHookedCalls hooked(disk);
        FileSystem::Move(NameOf(source), NameOf(document));
    }
    EXPECT_EQ(disk.all, std::set<Bytes>{"moved"});
    EXPECT_EQ(BytesOf(document), "moved");
    EXPECT_GE(disk.steps, 5);
}

INSTANTIATE_TEST_SUITE_P(Disk, DiskModel, testing::Bool(),
                         [](const auto& test) { return test.param ? "New" : "Old"; });

} // namespace
} // namespace Tarn
