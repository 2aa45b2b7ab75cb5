// What happens when there is a hundred times as much. Each benchmark does the same for a number of elements
// that its name ends with, and gives the time for one of them: that of an operation in linear time stays as
// it is.
#include "scratch_folder.h"

#include <tarnkit/archive.h>
#include <tarnkit/array.h>
#include <tarnkit/file.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/list.h>
#include <tarnkit/map.h>
#include <tarnkit/memory_file.h>
#include <tarnkit/messages.h>
#include <tarnkit/registry_key.h>
#include <tarnkit/resource_modules.h>
#include <tarnkit/temp_file.h>
#include <tarnkit/text_of_values.h>
#include <tarnkit/unicode_set.h>
#include <tarnkit/unicode_string.h>

#include <benchmark/benchmark.h>

#include <deque>
#include <filesystem>
#include <memory>
#include <random>
#include <string>

using namespace Tarn;

namespace {

// Registers `use(n)` for n elements, and for ten and a hundred times as many.
template<class Use>
void grow(const std::string& name, int fewest, Use use) {
    for (int count = fewest; count <= 100 * fewest; count *= 10)
        benchmark::RegisterBenchmark(("growth/" + name + "/" + std::to_string(count)).c_str(),
                                     [use, count](benchmark::State& state) {
                                         for (auto _ : state)
                                             use(count);
                                         state.SetItemsProcessed(state.iterations() * count);
                                     });
}

struct CNumberedNode : CListNodeBase {
    unsigned number = 0;

    static int Compare(const CListNodeBase* a, const CListNodeBase* b) {
        const unsigned left = static_cast<const CNumberedNode*>(a)->number;
        const unsigned right = static_cast<const CNumberedNode*>(b)->number;
        return left < right ? -1 : left > right;
    }
};

// Sorts `count` nodes whose keys are `keyAt(i)`. The time includes making the list.
template<class KeyAt>
void sortList(int count, KeyAt keyAt) {
    const std::unique_ptr<CNumberedNode[]> nodes(new CNumberedNode[static_cast<std::size_t>(count)]);
    CListBase list;
    for (int i = 0; i < count; i++) {
        nodes[static_cast<std::size_t>(i)].number = keyAt(i);
        list.AddLast(&nodes[static_cast<std::size_t>(i)]);
    }
    list.QSort(CNumberedNode::Compare);
    list.DetachAll();
}

void storeInMemory(int count) {
    CMemoryFile file;
    CArchive archive(&file, CArchive::Storing);
    for (int i = 0; i < count; i++)
        archive << i << UnicodeStr(i);
    archive.Close();
}

// Sets that many values of a key, or makes as many sub-keys, and reads or finds each; then all are deleted.
template<class Make, class Find>
void useRegistry(int count, Make make, Find find) {
    {
        CRegistryKey key(false);
        key.Open(HKEY_CURRENT_USER, u"Software\\TarnkitBenchmark\\Growth");
        for (int i = 0; i < count; i++)
            make(key, UnicodeStr(i));
        for (int i = 0; i < count; i++)
            must(find(key, UnicodeStr(i)), "the registry");
    }
    CRegistryKey parent(false);
    parent.Open(HKEY_CURRENT_USER, u"Software\\TarnkitBenchmark");
    parent.DeleteSubKey(u"Growth");
}

void setValues(int count) {
    useRegistry(
        count, [](CRegistryKey& key, const CUnicodeString& name) { key.SetStringValue(name, u"text"); },
        [](CRegistryKey& key, const CUnicodeString& name) {
            return key.QueryStringValue(name, u"") == u"text";
        });
}

void makeKeys(int count) {
    useRegistry(
        count,
        [](CRegistryKey& key, const CUnicodeString& name) { CRegistryKey(false).Open(key.GetKey(), name); },
        [](CRegistryKey& key, const CUnicodeString& name) {
            CRegistryKey sub(true);
            sub.Open(key.GetKey(), name);
            return sub.IsValid();
        });
}

// Files that are there at the same time; the newest are deleted first.
void makeTemporaryFiles(int count) {
    const ScratchFolder folder;
    TempFile::SetTemporaryDir(folder.Name());
    CArray<CUnicodeString> names;
    for (int i = 0; i < count; i++)
        names.Add(TempFile::New(nullptr));
    for (int i = count; i-- > 0;)
        TempFile::Delete(names[i]);
}

void makeFiles(int count) {
    const ScratchFolder folder;
    for (int i = 0; i < count; i++)
        CFile(folder.NameIn("Document " + std::to_string(i)), CFile::ForWriting | CFile::Create).Close();
}

// Objects of messages, among which those without a text are found.
void listMessages(int count) {
    CArray<CUnicodeString> names;
    for (int i = 0; i < count; i++)
        names.Add(u"MSG_" + UnicodeStr(i));
    std::deque<CMessage> messages;
    for (const CUnicodeString& name : names)
        messages.emplace_back(name.Ptr(), 0);
    CArray<CUnicodeString> undefined;
    CMessage::GetUndefinedMessages(undefined);
    must(undefined.Size() >= count, "listing messages");
}

// Modules of their own, from copies of one file, in which a text of the library is looked for.
void addModules(int count) {
    const ScratchFolder folder;
    const std::filesystem::path translation =
        std::filesystem::read_symlink("/proc/self/exe").replace_filename("Tarnkit2.dll");
    must(Initialize(nullptr, nullptr), "start");
    for (int i = 0; i < count; i++) {
        const std::string name = "Module" + std::to_string(i) + ".dll";
        std::filesystem::copy_file(translation, folder.In(name));
        AddResourceModule(folder.NameIn(name).Ptr());
    }
    must(ERR_BAD_ARCHIVE.UnicodeStr() != u"%0 is corrupted.", "the module that was added last");
    Clean();
}

[[maybe_unused]] const bool areRegistered = [] {
    grow("append-units", 10'000, [](int count) {
        CUnicodeString text;
        for (int i = 0; i < count; i++)
            text += u'x';
    });
    grow("find-hard", 1'000, [](int count) { // a text that begins everywhere and is nowhere
        const CUnicodeString text(u'a', count),
            wanted = CUnicodeString(u'a', count / 2) + CUnicodeString(u"b");
        benchmark::DoNotOptimize(text.Find(wanted.Ptr()));
    });
    grow("array", 10'000, [](int count) {
        CArray<int> array;
        for (int i = 0; i < count; i++)
            array.Add(i);
    });
    grow("map", 10'000, [](int count) {
        std::mt19937 random(1);
        CMap<unsigned, int> map;
        for (int i = 0; i < count; i++)
            map.Set(static_cast<unsigned>(random()), i);
    });
    grow("map-of-texts", 1'000, [](int count) {
        CMap<CUnicodeString, int> map;
        for (int i = 0; i < count; i++)
            map.Set(UnicodeStr(i), i);
    });
    grow("sort-random", 1'000, [](int count) {
        std::mt19937 random(1);
        sortList(count, [&](int) { return static_cast<unsigned>(random()); });
    });
    grow("sort-halves", 1'000,
         [](int count) { sortList(count, [&](int i) { return static_cast<unsigned>(i % (count / 2)); }); });
    grow("archive", 1'000, storeInMemory);
    grow("memory-file", 57, [](int count) {
        static const char step[1024] = {};
        CMemoryFile file;
        for (int i = 0; i < count; i++)
            file.Write(step, sizeof step);
    });
    grow("registry-values", 20, setValues);
    grow("registry-keys", 20, makeKeys);
    grow("temporary-files", 40, makeTemporaryFiles);
    grow("files", 100, makeFiles);
    grow("messages", 100, listMessages);
    grow("modules", 2, addModules);
    return true;
}();

} // namespace
