// What the notebook does with a book.
#pragma once

#include "arguments.h"
#include "settings.h"

/// Executes a command on the book that is named or else on the last one, and remembers it. Returns false when
/// the words are no such command; throws what went wrong.
bool ExecuteBookCommand(const CArguments& arguments, CSettings& settings);
