// Replaces the C++ runtime's handler for uncaught exceptions. The original prints the exception's type and
// would link the whole demangler into a program that catches all exceptions.

#include <cstdlib>

namespace __gnu_cxx {

// NOLINTBEGIN(bugprone-reserved-identifier): the runtime's own name
void __verbose_terminate_handler();

void __verbose_terminate_handler() {
    std::abort();
}
// NOLINTEND(bugprone-reserved-identifier)

} // namespace __gnu_cxx
