// Counts tests over all programs of a target.
#pragma once

namespace Tarn {

/// Lets every test that runs add a line to the file that TARNKIT_TEST_REPORT names, if it names one: "run" or
/// "skipped", the test, and why it was skipped, with tabs between. Call it before the working folder changes.
void ReportTests();

} // namespace Tarn
