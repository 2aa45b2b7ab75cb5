// The values that other systems have from tarnkit/system_values.h are those of the headers of Windows: a
// wrong one does not compile.
#include <tarnkit/types.h>

#include "compared_values.h"
