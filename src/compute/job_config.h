// Jobs in configuration files.
//
//     { Action : "CustomCompute"  CustomCompute : { Constant : {...}  ComputeSize : {...} ... } }
//
// Keys that a file leaves out keep their defaults; keys that no job has are refused, so that a
// misspelt one does not cost days. Flags are integers, 0 being off.
#pragma once

#include <string>

#include "compute/job.h"
#include "foundation/build_profile.h"
#include "foundation/config/value.h"
#include "foundation/exceptions.h"

namespace numforge {

/// `path` with ".cfg" behind it where its file name has no ".". Files that end in ".json" are read
/// and written as JSON, all others in the program's own notation.
std::string config_path(std::string path);

/// A configuration file: { Action : "X"  X : { settings } }.
class ConfigFile {
 public:
  /// Throws ConfigLoadException for what is malformed, with the line, and FileException.
  explicit ConfigFile(const std::string& path);

  const std::string& action() const { return *action_; }
  /// The object under the action's name. Throws ConfigLoadException where there is none.
  const nmp::config::Object& settings() const;

 private:
  std::string path_;
  nmp::config::Value root_;
  const std::string* action_;
};

/// The message of a failure, with the line of the text to which it belongs, if it has one.
std::string located_message(const nmp::StringException& failure);

/// The job that an object of settings describes. Throws ParseException with the line for a value of
/// the wrong kind, KeyNotFoundException for a job without a constant, and what the setters of job.h
/// throw.
Job job_from_config(const nmp::config::Object& settings, const nmp::BuildProfile& profile);
/// Writes the settings of a job into an empty object, all keys.
void write_config(const Job& job, nmp::config::Object& settings);

/// The job of a file whose action is "CustomCompute". Throws ConfigLoadException, which says what
/// is wrong with the file or its settings, and FileException.
Job load_job(const std::string& path, const nmp::BuildProfile& profile);
/// Creates or replaces the file.
void save_job(const Job& job, const std::string& path);

}  // namespace numforge
