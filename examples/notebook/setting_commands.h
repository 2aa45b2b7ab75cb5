// What the notebook does with its settings.
#pragma once

#include "settings.h"

#include <tarnkit/array.h>

/// Executes a command on the settings. Returns false when the words are not such a command; throws when the
/// command fails.
bool ExecuteSettingCommand(const Tarn::CArray<Tarn::CUnicodeString>& words, CSettings& settings);
