// What may be missing on a target, each thing by its name, with the reason if it is missing.
#pragma once

#include <gtest/gtest.h>

namespace Tarn {

struct CCapability {
    explicit operator bool() const { return whyNot == nullptr; }

    const char* whyNot; // null if the target has it
};

/// Every call does what the system's documentation says. Where a test asks for this, Wine, which stands in
/// for Windows, is known to differ.
extern const CCapability kDocumentedCalls;
/// Files that are read-only can be neither written nor replaced.
extern const CCapability kReadOnlyFiles;
/// The device `\dev\full`, on which every write finds a full disk.
extern const CCapability kFullDevice;
/// Programs whose files cannot grow beyond a limit.
extern const CCapability kFileSizeLimit;
/// Symbolic links, made without special rights.
extern const CCapability kSymbolicLinks;
/// The user's locale and code pages come from environment variables.
extern const CCapability kLocaleFromEnvironment;
/// What other programs trace is written where TARNKIT_TRACE says.
extern const CCapability kTraceOutput;
/// The test program can be started again by itself, as death tests of the style "threadsafe" do.
extern const CCapability kRestartsItself;

} // namespace Tarn

/// Skips the test if the capability is missing.
#define TARNKIT_TEST_NEEDS(capability)                                                                       \
    if (!(capability))                                                                                       \
    GTEST_SKIP() << #capability << ": " << (capability).whyNot
