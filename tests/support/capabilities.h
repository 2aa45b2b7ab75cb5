// Named capabilities that a target may lack, each with the reason if it does.
#pragma once

#include <gtest/gtest.h>

namespace Tarn {

struct CCapability {
    explicit operator bool() const { return whyNot == nullptr; }

    const char* whyNot; // null if the target has it
};

/// Every call does what the system's documentation says. Tests that need this are those where Wine, which
/// stands in for Windows, is known to differ.
extern const CCapability kDocumentedCalls;
/// Read-only files can be neither written nor replaced.
extern const CCapability kReadOnlyFiles;
/// The device `\dev\full`, on which every write finds a full disk.
extern const CCapability kFullDevice;
/// Symbolic links can be created without special rights.
extern const CCapability kSymbolicLinks;
/// The user's locale and code pages come from environment variables.
extern const CCapability kLocaleFromEnvironment;
/// The trace output of other programs goes where TARNKIT_TRACE says.
extern const CCapability kTraceOutput;
/// The test program can be started again by itself, as death tests of the style "threadsafe" do.
extern const CCapability kRestartsItself;
/// A process with threads can be copied while it runs: `RunInChild`.
extern const CCapability kFork;
/// The system has a registry of its own, and programs that export and import parts of it.
extern const CCapability kRegistryEditors;

} // namespace Tarn

/// Skips the test if the capability is missing.
#define TARNKIT_TEST_NEEDS(capability)                                                                       \
    if (!(capability))                                                                                       \
    GTEST_SKIP() << #capability << ": " << (capability).whyNot
