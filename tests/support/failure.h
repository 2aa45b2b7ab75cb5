// Functions that tell what stopped an action.
#pragma once

#include "tests/support/testing.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/messages.h>

namespace Tarn {

using Path = std::filesystem::path;

inline Path PathOf(const CUnicodeString& name) {
    std::u16string text = name.Ptr();
    std::replace(text.begin(), text.end(), u'\\', u'/');
    return text;
}

/// A failure with a file as `FailureOf` returns it: its code or, if no system call failed, its kind.
inline std::string FileFailure(DWORD codeOrKind, const Path& file) {
    return std::to_string(codeOrKind) + " " + file.filename().string();
}

/// What stopped the action: "assertion", "memory", the name of an error, a `FileFailure`, or "" for nothing.
std::string FailureOf(auto action) {
    std::string result;
    try {
        action();
    } catch (CException* e) {
        if (const auto* failure = dynamic_cast<CFileException*>(e))
            result =
                FileFailure(failure->ErrorCode() != 0 ? failure->ErrorCode() : DWORD(failure->ErrorType()),
                            PathOf(failure->FileName()));
        else if (const auto* check = dynamic_cast<CCheckException*>(e))
            result = Path(check->Error().GetMessage().Name()).string();
        else
            result = dynamic_cast<CInternalError*>(e) != nullptr     ? "assertion"
                     : dynamic_cast<CMemoryException*>(e) != nullptr ? "memory"
                                                                     : "other";
        e->Delete();
    }
    return result;
}

/// "file:line" of the assertion that stops `action`, or "none".
std::u16string AssertionOf(auto action) {
    std::u16string result = u"none";
    try {
        action();
    } catch (CInternalError* e) {
        const std::string line = std::to_string(e->Line());
        result = e->SourceFile() + std::u16string(u":") + std::u16string(line.begin(), line.end());
        e->Delete();
    }
    return result;
}

} // namespace Tarn
