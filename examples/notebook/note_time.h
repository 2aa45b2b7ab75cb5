// The time of a note: how it is given on the command line and shown to the user.
#pragma once

#include <tarnkit/time.h>

/// Whether a note may have this time: one from the year 1602 up to 9999, or zero for an unknown one.
bool IsNoteTime(Tarn::CTime time);

/// Reads "2026-05-02 14:30", a local time, or "2026-05-02 14:30Z", the universal time, which means the same
/// on every machine. Returns false for a text that is not such a time.
bool ParseNoteTime(const Tarn::CUnicodeString& text, Tarn::CTime& time);

/// The local time with the names of the user's locale: for a list, and with the day of the week for a
/// sentence. A dash stands for the unknown time.
Tarn::CUnicodeString ShowShortTime(Tarn::CTime time);
Tarn::CUnicodeString ShowLongTime(Tarn::CTime time);
