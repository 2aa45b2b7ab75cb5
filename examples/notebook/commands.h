// What the notebook does for each command.
#pragma once

#include "arguments.h"

/// Throws with what went wrong, or with the usage when there is no such command.
void Execute(const CArguments& arguments);
