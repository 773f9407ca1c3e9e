#include "ground/per_process.h"

namespace tovi {

// No process is a copy of another one on this system.
void ForgottenByChildren::list() noexcept {}
void ForgottenByChildren::forgetAll() noexcept {}

}  // namespace tovi
