// Including the header without HARMOTRACK_NO_PROTOTYPES fills the table of the library's functions
// with the linked ones, before main() begins.
#include <harmotrack/harmotrack.hpp>
