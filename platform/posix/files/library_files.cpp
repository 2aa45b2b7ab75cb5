#include "platform/posix/files/library_files.h"

#include "platform/posix/files/paths.h"
#include "platform/posix/support/descriptor.h"
#include "platform/posix/support/error_codes.h"

#include <dlfcn.h>
#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <sys/auxv.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace Tarn::Platform::Posix {
namespace {

using ElfHeader = ElfW(Ehdr);
using ElfSegment = ElfW(Phdr);

constexpr const char* kOwnExecutable = "/proc/self/exe";
constexpr const char16_t* kDefaultExtension = u".dll";
constexpr unsigned char kNativeClass = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;

U16String currentDirectory() {
    char buffer[PATH_MAX];
    return ToWide(getcwd(buffer, sizeof(buffer)) != nullptr ? buffer : "/");
}

/// The path of the file of that name in a folder; a name without an extension that is not found gets the
/// default extension. Empty if there is no such file.
String fileIn(const U16String& folder, const U16String& name) {
    U16String path = folder;
    if (!path.empty() && !EndsWithSeparator(path.c_str()))
        path += u'\\';
    path += name;
    Name found;
    DWORD code = Find(path.c_str(), found);
    std::size_t last = name.find_last_of(u"\\/");
    bool hasExtension = name.find(u'.', last == U16String::npos ? 0 : last) != U16String::npos;
    if (code != ERROR_SUCCESS && !hasExtension)
        code = Find((path + kDefaultExtension).c_str(), found);
    return code == ERROR_SUCCESS && !found.IsDirectory() ? found.path : String();
}

/// The file that the loader itself finds. The loader tells only by loading the file, which the caller is
/// about to do anyway.
String fileOfLoader(const U16String& name) {
    String onDisk;
    void* module = ToDisk(name.c_str(), onDisk) == ERROR_SUCCESS
                       ? dlopen(onDisk.c_str(), RTLD_LAZY | RTLD_LOCAL)
                       : nullptr;
    if (module == nullptr)
        return {};
    const link_map* map = nullptr;
    String path;
    if (dlinfo(module, RTLD_DI_LINKMAP, &map) == 0)
        path = map->l_name;
    dlclose(module);
    return path;
}

/// Looks for a bare name in the folders that the loader searches: the library path, run paths and the
/// system's own.
String fileInSearchPath(const U16String& name) {
    String found;
    void* self = dlopen(nullptr, RTLD_NOW);
    Dl_serinfo size;
    if (self != nullptr && dlinfo(self, RTLD_DI_SERINFOSIZE, &size) == 0) {
        Vector<char> memory(size.dls_size);
        auto folders = reinterpret_cast<Dl_serinfo*>(memory.data());
        folders->dls_size = size.dls_size;
        folders->dls_cnt = size.dls_cnt;
        if (dlinfo(self, RTLD_DI_SERINFO, folders) == 0)
            for (unsigned i = 0; i < folders->dls_cnt && found.empty(); i++)
                if (*folders->dls_serpath[i].dls_name == '/')
                    found = fileIn(ToWide(folders->dls_serpath[i].dls_name), name);
    }
    if (self != nullptr)
        dlclose(self);
    return found.empty() ? fileOfLoader(name) : found;
}

/// Reads a part of a file; false with `errno` 0 if the file is too short.
bool readAt(int file, void* buffer, std::size_t size, off_t position) {
    const ssize_t read = pread(file, buffer, size, position);
    if (read >= 0)
        errno = 0;
    return read == static_cast<ssize_t>(size);
}

/// Whether a file with this header is for this processor.
bool isForThisSystem(const ElfHeader& header) {
    ElfHeader own;
    int executable = open(ExecutableFile().c_str(), O_RDONLY | O_CLOEXEC);
    bool ownKnown = executable >= 0 && readAt(executable, &own, sizeof(own), 0);
    if (executable >= 0)
        close(executable);
    return std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 && header.e_ident[EI_CLASS] == kNativeClass &&
           header.e_phentsize == sizeof(ElfSegment) && (!ownKnown || header.e_machine == own.e_machine);
}

/// Whether a file is a complete library, a complete program, or neither. An incomplete one must not reach the
/// loader, which maps what the headers announce without checking that the file is long enough.
LibraryKind kindOf(int file) {
    ElfHeader header;
    struct stat information;
    if (!readAt(file, &header, sizeof(header), 0) || fstat(file, &information) != 0 ||
        !isForThisSystem(header) || header.e_type != ET_DYN)
        return LibraryKind::kNone;
    auto length = static_cast<std::uint64_t>(information.st_size);
    LibraryKind kind = LibraryKind::kLibrary;
    for (unsigned i = 0; i < header.e_phnum; i++) {
        ElfSegment segment;
        if (!readAt(file, &segment, sizeof(segment),
                    static_cast<off_t>(header.e_phoff + i * sizeof(segment))) ||
            (segment.p_type == PT_LOAD && segment.p_offset + std::uint64_t{segment.p_filesz} > length))
            return LibraryKind::kNone;
        if (segment.p_type == PT_INTERP)
            kind = LibraryKind::kProgram;
    }
    return kind;
}

} // namespace

String FindLibraryFile(const char16_t* given) {
    U16String name = given;
    if (name.empty() || EndsWithSeparator(given))
        return {};
    if (IsSeparator(name[0]))
        return IsSeparator(name[1]) ? String() : fileIn({}, name);
    if (name.find_first_of(u"\\/") != U16String::npos)
        return fileIn(currentDirectory(), name);
    String found = fileIn(ToWide(ParentOf(ExecutableFile())), name);
    return found.empty() ? fileInSearchPath(name) : found;
}

String ExecutableFile() {
    char buffer[PATH_MAX];
    ssize_t length = readlink(kOwnExecutable, buffer, sizeof(buffer));
    if (length > 0)
        return String(buffer, static_cast<std::size_t>(length));
    // How the program was found, even if it was named without a folder.
    const auto given = reinterpret_cast<const char*>(getauxval(AT_EXECFN));
    const char* const name = given != nullptr ? given : program_invocation_name;
    char* path = realpath(name, buffer);
    return path != nullptr ? path : name;
}

bool IsExecutableFile(const String& path) {
    struct stat own;
    struct stat other;
    return stat(ExecutableFile().c_str(), &own) == 0 && stat(path.c_str(), &other) == 0 &&
           own.st_dev == other.st_dev && own.st_ino == other.st_ino;
}

DWORD CheckLibraryFile(const String& path, LibraryKind* kind) {
    *kind = LibraryKind::kNone;
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file < 0)
        return errno == ENOENT || errno == ENOTDIR ? DWORD{ERROR_MOD_NOT_FOUND} : CodeOf(errno);
    errno = 0;
    *kind = kindOf(file);
    const int error = errno;
    if (*kind != LibraryKind::kNone)
        return ERROR_SUCCESS;
    return error != 0 ? CodeOf(error) : DWORD{ERROR_BAD_EXE_FORMAT};
}

} // namespace Tarn::Platform::Posix
