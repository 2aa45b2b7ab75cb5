// Loads values from arbitrary bytes: the first bytes say which values and how large the buffer is, the rest
// is the archive. The values, and the failure that ends them, must not depend on the size of the buffer, and
// storing the loaded values must produce bytes that load as the same values again.
#include "fuzz/support.h"

#include <tarnkit/archive.h>
#include <tarnkit/exceptions.h>
#include <tarnkit/messages.h>

#include <algorithm>
#include <cstring>
#include <sstream>

namespace {

using namespace Tarn;

class MemoryBytes final : public CBaseFile {
public:
    std::string bytes;

    explicit MemoryBytes(std::string content = {}) : bytes(std::move(content)) {}

    CUnicodeString GetFileName() override { return u"bytes"; }
    int Read(void* buffer, int size) override {
        const int count = std::clamp(GetLength() - position, 0, size);
        std::memcpy(buffer, bytes.data() + std::min(position, GetLength()), static_cast<std::size_t>(count));
        position += count;
        return count;
    }
    void Write(const void* buffer, int size) override {
        bytes.append(static_cast<const char*>(buffer), static_cast<std::size_t>(size));
    }
    int GetPosition() const override { return position; }
    int Seek(int offset, TSeekPosition from) override {
        const int start = from == Begin ? 0 : from == Current ? position : GetLength();
        if (offset < -start)
            ThrowFileException(CFileException::badSeek, GetFileName());
        return position = start + offset;
    }
    void SetLength(int length) override { bytes.resize(static_cast<std::size_t>(length)); }
    int GetLength() const override { return static_cast<int>(bytes.size()); }
    void Abort() override {}
    void Flush() override {}
    void Close() override {}

private:
    int position = 0;
};

// The values loaded so far, and the same values stored.
class Transcript {
public:
    std::ostringstream values;
    MemoryBytes stored;
    CArchive copy{&stored, CArchive::Storing};

    template<class Value>
    void Take(CArchive& archive) {
        Value value{};
        archive >> value;
        values << static_cast<double>(value) << ' ';
        copy << value;
    }
    template<class Text>
    void TakeText(CArchive& archive) {
        Text text;
        archive >> text;
        note(text);
        copy << text;
    }
    void TakeSmallValue(CArchive& archive) {
        const int value = archive.ReadSmallValue();
        values << value << ' ';
        copy.WriteSmallValue(value);
    }
    void TakeVersion(CArchive& archive) {
        const int version = archive.SerializeVersion(7);
        MUST(version <= 7);
        copy.WriteSmallValue(version);
    }
    void TakeBytes(CArchive& archive, int size) {
        std::string bytes(static_cast<std::size_t>(size), '\0');
        archive.Read(bytes.data(), size);
        values << bytes << ' ';
        copy.Write(bytes.data(), size);
    }
    template<class Text>
    void TakeLine(bool (CArchive::*read)(Text&), CArchive& archive) {
        Text line;
        const bool isThere = (archive.*read)(line);
        values << isThere << ' ';
        note(line);
    }

private:
    template<class Text>
    void note(const Text& text) {
        values << text.GetLength() << ':';
        for (int i = 0; i < text.GetLength(); i++)
            values << static_cast<int>(text[i]) << ',';
    }
};

void loadOne(CArchive& archive, Transcript& transcript, int operation, bool areLinesWanted) {
    switch (operation) {
    case 0:
        return transcript.Take<bool>(archive);
    case 1:
        return transcript.Take<unsigned char>(archive);
    case 2:
        return transcript.Take<short>(archive);
    case 3:
        return transcript.Take<long>(archive);
    case 4:
        return transcript.Take<Int64>(archive);
    case 5:
        return transcript.TakeText<CString>(archive);
    case 6:
        return transcript.TakeText<CUnicodeString>(archive);
    case 7:
        return transcript.TakeSmallValue(archive);
    case 8:
        return transcript.TakeVersion(archive);
    case 9:
        return transcript.TakeBytes(archive, 40);
    case 10:
        return archive.Flush();
    default:
        break;
    }
    if (!areLinesWanted)
        return;
    if (operation == 11)
        archive.Skip(30);
    else if (operation == 12)
        transcript.TakeLine(&CArchive::ReadString, archive);
    else
        transcript.TakeLine(&CArchive::ReadUnicodeString, archive);
}

struct Result {
    std::string values;
    std::string failure;
    std::string stored;
};

// Lines and skipped bytes are not stored again.
Result load(const std::string& script, const std::string& bytes, int bufferSize, bool areLinesWanted) {
    MemoryBytes file(bytes);
    Transcript transcript;
    Result result;
    CArchive archive(&file, CArchive::Loading, bufferSize);
    try {
        for (const char operation : script)
            loadOne(archive, transcript, static_cast<unsigned char>(operation) % 14, areLinesWanted);
    } catch (CFileException* e) {
        MUST(e->ErrorType() == CFileException::endOfFile);
        result.failure = "end of file";
        e->Delete();
    } catch (CCheckException* e) {
        MUST(&e->Error() == &ERR_BAD_ARCHIVE || &e->Error() == &ERR_BAD_ARCHIVE_VERSION ||
             &e->Error() == &ERR_BAD_TEXT_FILE);
        result.failure = &e->Error() == &ERR_BAD_ARCHIVE ? "corrupt" : "other";
        e->Delete();
    }
    archive.Close();
    transcript.copy.Close();
    result.values = transcript.values.str();
    result.stored = transcript.stored.bytes;
    return result;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    FuzzInput input(data, size);
    const int bufferSize = input.TakeIn(CArchive::kLeastBufferSize, 64);
    const std::string script = input.TakeString(64);
    const std::string bytes = input.TakeRest();

    const Result small = load(script, bytes, bufferSize, true);
    const Result large = load(script, bytes, CArchive::kDefaultBufferSize, true);
    MUST(small.values == large.values);
    MUST(small.failure == large.failure);

    const Result first = load(script, bytes, bufferSize, false);
    const Result second = load(script, first.stored, bufferSize, false);
    MUST(second.values.starts_with(first.values));
    MUST(second.stored.starts_with(first.stored));
    return 0;
}
