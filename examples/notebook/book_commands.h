// What the notebook does with a book.
#pragma once

#include "arguments.h"
#include "settings.h"

/// Executes a command on the book that is named, or else on the last one, and remembers the book. Returns
/// false when the words are not such a command; throws when the command fails.
bool ExecuteBookCommand(const CArguments& arguments, CSettings& settings);
