// Fault injection for the white-box tests. The plain wrappers of the memory
// family (ruvo_malloc_, ruvo_zero_malloc_, ruvo_ralloc_) ask it before every
// allocation, so a family that reports running out of memory as a result can
// be driven down that path on purpose; the log timestamp asks it before it
// breaks the clock down, for the fallback text that no real clock gives; the
// thread start asks it before making a thread, which no test can otherwise
// make fail; the INI save asks it before each of its steps, for the
// failures of a full disk or a refused rename, and the zip helpers before
// they start an entry or read a piece of a file. It exists only in builds with
// RUVO_BASE_TESTING; elsewhere the questions fold to false.
#pragma once

namespace ruvo::fault {

#if defined(RUVO_BASE_TESTING)
// After `successes` more allocations on this thread, every allocation of the
// plain wrappers fails until this is called again. A negative count turns
// failures off.
void fail_allocations_after(long successes) noexcept;
// Consumes one step of the countdown; true when this allocation must fail.
bool allocation_fails() noexcept;
// While set, the log timestamp finds local time unavailable, as on a clock
// that the runtime cannot break down.
void fail_local_time(bool fails) noexcept;
bool local_time_fails() noexcept;
// While on, ruvo_thread_start fails as if the C runtime could not make a
// thread (errno EAGAIN), after its start record has been allocated.
void fail_thread_starts(bool fail) noexcept;
bool thread_start_fails() noexcept;
// After `successes` more steps of INI saves on this thread (temporary name,
// open, each line or block written, seeks, digest, flush, rename) or of the
// zip helpers (the start of an entry, each piece read), the next step fails,
// once, so that a step that ignored it would show in the result. A negative
// count turns it off.
void fail_save_step(long successes) noexcept;
bool save_step_fails() noexcept;
#else
constexpr bool allocation_fails() noexcept { return false; }
constexpr bool local_time_fails() noexcept { return false; }
constexpr bool thread_start_fails() noexcept { return false; }
constexpr bool save_step_fails() noexcept { return false; }
#endif

}  // namespace ruvo::fault
