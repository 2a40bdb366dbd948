#include "foundation/progress.h"

#include "foundation/exceptions.h"
#include "platform/process.h"

namespace nmp {

void throw_if_interrupted() {
  if (platform::interrupted())
    throw InterruptedException("throw_if_interrupted()", "Interrupted by the user.");
}

}  // namespace nmp
