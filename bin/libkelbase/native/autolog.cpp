// The Linux build has no auto log: a record goes to the registered outputs,
// or to standard error when there are none.
#include "internal/log.hpp"

void ruvo_log_attach_default() noexcept {}
