// Failures of setting a job up that its menus treat in their own ways.
#pragma once

#include <string>
#include <utility>

#include "compute/job.h"
#include "foundation/exceptions.h"

namespace numforge {

/// A choice that the job's mode cannot run.
class ModeNotSupportedException : public nmp::InvalidParametersException {
 public:
  using nmp::InvalidParametersException::InvalidParametersException;
  NF_EXCEPTION(ModeNotSupportedException)
};

/// A configuration file that is no usable job.
class ConfigLoadException : public nmp::InvalidParametersException {
 public:
  using nmp::InvalidParametersException::InvalidParametersException;
  NF_EXCEPTION(ConfigLoadException)
};

/// Not a failure: thrown by the mode selection, it leads back to the menu, which switches the job.
struct ModeChangeException {
  Mode mode;
};

}  // namespace numforge
