#include "errors/application.h"

#include "memory/shared_state.h"

#include <tarnkit/failures.h>
#include <tarnkit/layout.h>
#include <tarnkit/thread_storage.h>

#include <atomic>

namespace Tarn {

/// What is kept for each thread.
struct CThreadFlags {
    unsigned char hasFailed;
    unsigned char isInsideStaticPart;
};
TARNKIT_LAYOUT(CThreadFlags, 2, hasFailed, isInsideStaticPart);

namespace {

constexpr char16_t kSource[] = u"Tarnkit";
constexpr char16_t kDefaultTitle[] = u"Tarnkit";

struct CTexts {
    CUnicodeString title;
    CUnicodeString userSection;
    CUnicodeString machineSection;
};

constinit std::atomic<TLibraryState> libraryState{TLibraryState::neverInitialized};
constinit std::atomic<bool> isThrowing{true};
constinit std::atomic<HINSTANCE> applicationInstance{nullptr};
constinit std::atomic<HWND> mainWindow{nullptr};
constinit CSharedState<CTexts> texts;
constinit CThreadRecord threadFlags(sizeof(CThreadFlags));

CThreadFlags* findThreadFlags() { return static_cast<CThreadFlags*>(threadFlags.Find()); }
CThreadFlags* obtainThreadFlags() { return static_cast<CThreadFlags*>(threadFlags.Get()); }

} // namespace

TLibraryState GetLibraryState() { return libraryState; }
void SetLibraryState(TLibraryState state) { libraryState = state; }
bool IsTarnkitInitialized() { return libraryState == TLibraryState::initialized; }

HINSTANCE FindApplicationInstance() { return applicationInstance; }

void AttachApplicationTexts() { texts.KeepUsableAfterFork<texts>(); }

void ReleaseApplicationTexts() { texts.Release(); }

namespace {

CUnicodeString getText(CUnicodeString CTexts::*text) {
    return texts.Use([&](CTexts& all) { return all.*text; });
}

void setText(CUnicodeString CTexts::*text, const CUnicodeString& value) {
    texts.Use([&](CTexts& all) { all.*text = value; });
}

} // namespace

HINSTANCE GetApplicationInstance() {
    const HINSTANCE instance = applicationInstance;
    if (instance == nullptr)
        GenAssert(kSource, 601);
    return instance;
}

void SetApplicationInstance(HINSTANCE instance) {
    HINSTANCE none = nullptr;
    if (!applicationInstance.compare_exchange_strong(none, instance))
        GenAssert(kSource, 595);
}

void BeginStaticPart() {
    if (CThreadFlags* flags = obtainThreadFlags())
        flags->isInsideStaticPart = 1;
}

void EndStaticPart() {
    if (CThreadFlags* flags = findThreadFlags())
        flags->isInsideStaticPart = 0;
}

bool IsInsideStaticPart() {
    const CThreadFlags* flags = findThreadFlags();
    return flags != nullptr && flags->isInsideStaticPart != 0;
}

bool GetErrorFlag() {
    const CThreadFlags* flags = findThreadFlags();
    return flags != nullptr && flags->hasFailed != 0;
}

void SetErrorFlag(bool isSet) {
    if (CThreadFlags* flags = isSet ? obtainThreadFlags() : findThreadFlags())
        flags->hasFailed = isSet;
}

bool IsThrowingEnabled() { return isThrowing; }
void SetThrowingEnabled(bool isEnabled) { isThrowing = isEnabled; }

bool IsAppTitleDefined() { return !getText(&CTexts::title).IsEmpty(); }
CUnicodeString GetAppTitle() {
    const CUnicodeString title = getText(&CTexts::title);
    return title.IsEmpty() ? CUnicodeString(kDefaultTitle) : title;
}
void SetAppTitle(const CUnicodeString& title) { setText(&CTexts::title, title); }

HWND GetMainWindow() { return mainWindow; }
void SetMainWindow(HWND window) { mainWindow = window; }

CUnicodeString GetUserRegistrySection() {
    if (!IsTarnkitInitialized())
        GenAssert(kSource, 341);
    return getText(&CTexts::userSection);
}

CUnicodeString GetMachineRegistrySection() {
    if (!IsTarnkitInitialized())
        GenAssert(kSource, 347);
    return getText(&CTexts::machineSection);
}

void SetUserRegistrySection(const char16_t* section) {
    if (section == nullptr) {
        GenAssert(kSource, 355);
        return;
    }
    setText(&CTexts::userSection, section);
}

void SetMachineRegistrySection(const char16_t* section) {
    if (section == nullptr) {
        GenAssert(kSource, 363);
        return;
    }
    setText(&CTexts::machineSection, section);
}

} // namespace Tarn
