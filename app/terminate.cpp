// What the C++ runtime calls for an exception that nobody catches. Its own handler would print the
// exception's type, and for that bring the whole demangler into a program that catches all of them.

#include <cstdlib>

namespace __gnu_cxx {

// NOLINTBEGIN(bugprone-reserved-identifier): the runtime's own name
void __verbose_terminate_handler();

void __verbose_terminate_handler() {
    std::abort();
}
// NOLINTEND(bugprone-reserved-identifier)

} // namespace __gnu_cxx
