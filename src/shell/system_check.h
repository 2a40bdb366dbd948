// The look at the machine that every run begins with.
#pragma once

namespace numforge {

/// Prints what the program requires of the processor and what the processor is, and warns about
/// processor groups of unequal size.
void print_system_check();

}  // namespace numforge
