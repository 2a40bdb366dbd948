// The questions behind the lines of the Custom Compute menu.
//
// Each changes the job as the person answers; nothing typed, or the end of the input, leaves it as
// it is. Each throws what the setters of job.h throw.
#pragma once

#include <optional>

#include "compute/job.h"
#include "compute/job_runner.h"

namespace numforge {

void ask_constant(Job& job);
void ask_algorithm(Job& job);
void ask_decimal_digits(Job& job);
void ask_output_path(Job& job);
void ask_digit_format(Job& job);
/// `needs`: what the job needs in its present mode, where that is known. Throws
/// ModeChangeException when the person picks a mode.
void ask_mode(const Job& job, const std::optional<JobNeeds>& needs);
void ask_multi_threading(Job& job);
void ask_allocator(Job& job);

void ask_checkpointing(Job& job);
void ask_far_memory(Job& job);
void ask_far_memory_tuning(Job& job);
void ask_swap_memory(Job& job);

/// Replaces the job by the one of a file. Throws ConfigLoadException.
void ask_to_load(Job& job);
void ask_to_save(const Job& job);

}  // namespace numforge
