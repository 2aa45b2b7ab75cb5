#include <tarnkit/exceptions.h>
#include <tarnkit/lifecycle.h>

#include "platform/platform.h"

namespace Tarn {

namespace {

// The text of a system string, whose units have another type on some targets; empty for null.
CUnicodeString textOf(BSTR text) {
    return text != nullptr ? CUnicodeString(reinterpret_cast<const char16_t*>(text)) : CUnicodeString();
}

HRESULT copyText(const CUnicodeString& text, BSTR* copy) {
    if (copy == nullptr)
        return E_INVALIDARG;
    *copy = Platform::SysAllocString(text);
    return *copy != nullptr ? S_OK : E_OUTOFMEMORY;
}

} // namespace

CErrorInfoImpl::CErrorInfoImpl(const CUnicodeString& text, unsigned long context, const CUnicodeString& file)
    : source(GetAppTitle()), description(text), helpFile(file), helpContext(static_cast<DWORD>(context)) {}

CErrorInfoImpl::CErrorInfoImpl(const EXCEPINFO& information)
    : source(information.bstrSource != nullptr ? textOf(information.bstrSource) : GetAppTitle()),
      description(textOf(information.bstrDescription)), helpFile(textOf(information.bstrHelpFile)),
      helpContext(information.dwHelpContext) {}

// A copy is a separate object without references.
CErrorInfoImpl::CErrorInfoImpl(const CErrorInfoImpl& other)
    : IErrorInfo(), source(other.source), description(other.description), helpFile(other.helpFile),
      helpContext(other.helpContext) {}

HRESULT STDMETHODCALLTYPE CErrorInfoImpl::QueryInterface(REFIID iid, void** object) {
    if (object == nullptr)
        return E_INVALIDARG;
    if (!(iid == IID_IErrorInfo || iid == IID_IUnknown)) {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    *object = static_cast<IErrorInfo*>(this);
    AddRef();
    return S_OK;
}

ULONG STDMETHODCALLTYPE CErrorInfoImpl::AddRef() { return static_cast<ULONG>(++references); }

ULONG STDMETHODCALLTYPE CErrorInfoImpl::Release() {
    if (--references >= 1)
        return static_cast<ULONG>(references);
    delete this;
    return 0;
}

// These errors belong to no interface in particular.
HRESULT STDMETHODCALLTYPE CErrorInfoImpl::GetGUID(GUID* guid) {
    if (guid == nullptr)
        return E_INVALIDARG;
    *guid = GUID{};
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CErrorInfoImpl::GetSource(BSTR* text) { return copyText(source, text); }

HRESULT STDMETHODCALLTYPE CErrorInfoImpl::GetDescription(BSTR* text) { return copyText(description, text); }

HRESULT STDMETHODCALLTYPE CErrorInfoImpl::GetHelpFile(BSTR* text) { return copyText(helpFile, text); }

HRESULT STDMETHODCALLTYPE CErrorInfoImpl::GetHelpContext(DWORD* context) {
    if (context == nullptr)
        return E_INVALIDARG;
    *context = helpContext;
    return S_OK;
}

} // namespace Tarn
