#include <tarnkit/standard_exceptions.h>

#include <tarnkit/memory_manager.h>

#include <atomic>
#include <new>

namespace Tarn {

namespace {

constexpr char kNoMemoryForText[] = "There is no memory for the text of this failure.";

CString utf8TextOf(const CException& e) {
    try {
        return e.MessageText().CreateString(kUtf8CodePage);
    } catch (CException* failure) {
        Delete(failure);
    }
    return CString();
}

CUnicodeString textOf(const std::exception& e) {
    const char* const said = e.what();
    const CUnicodeString text(said, kUtf8CodePage);
    return text.CreateString(kUtf8CodePage) == said ? text : CUnicodeString(said, 0u);
}

} // namespace

struct CCarriedException::CShared {
    explicit CShared(CException* e) : text(utf8TextOf(*e)), exception(e) {}

    std::atomic<int> references{1};
    const CString text;
    std::atomic<CException*> exception;
};

// Copies may live longer than the manager that is current now.
CCarriedException::CCarriedException(CException* e) : shared(nullptr) {
    const CMemoryManagerSwitcher toDefault(nullptr);
    try {
        shared = new CShared(e);
    } catch (CException* failure) {
        Delete(failure);
        Delete(e); // nothing is left of it but that it happened
    }
}

CCarriedException::CCarriedException(const CCarriedException& other) noexcept
    : std::exception(other), shared(other.shared) {
    if (shared != nullptr)
        ++shared->references;
}

CCarriedException::~CCarriedException() {
    if (shared == nullptr || --shared->references > 0)
        return;
    Delete(shared->exception);
    delete shared;
}

const char* CCarriedException::what() const noexcept {
    return shared != nullptr ? shared->text.Ptr() : kNoMemoryForText;
}

CException* CCarriedException::Get() const noexcept {
    return shared != nullptr ? shared->exception.load() : nullptr;
}

CException* CCarriedException::Release() noexcept {
    return shared != nullptr ? shared->exception.exchange(nullptr) : nullptr;
}

CStandardException::CStandardException(const std::exception& e) : text(textOf(e)) {}

CStandardException::~CStandardException() = default;

CUnicodeString CStandardException::MessageText() const { return text; }

CException* MakeException(std::exception& e) {
    if (auto* const carrier = dynamic_cast<CCarriedException*>(&e))
        if (CException* const carried = carrier->Release())
            return carried;
    if (dynamic_cast<std::bad_alloc*>(&e) != nullptr)
        return new CMemoryException;
    return new CStandardException(e);
}

void Warning(const std::exception& e) {
    const auto* const carrier = dynamic_cast<const CCarriedException*>(&e);
    if (carrier != nullptr && carrier->Get() != nullptr)
        return Warning(carrier->Get());
    if (dynamic_cast<const std::bad_alloc*>(&e) != nullptr)
        return Warning(new CMemoryException); // always the same object
    CStandardException standard(e);
    Warning(&standard);
}

} // namespace Tarn
