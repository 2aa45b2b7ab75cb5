// Checks that the values in tarnkit/system_values.h, which other systems use, are those of the Windows
// headers: a wrong one does not compile.
#include <tarnkit/types.h>

#include "compared_values.h"
