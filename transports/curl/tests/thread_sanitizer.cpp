// libstdc++ counts the references to an exception in code that ThreadSanitizer does not see, so
// that it takes the last release, on one thread, for a race with the reading of the exception on
// another.
extern "C" const char* __tsan_default_suppressions();  // NOLINT

extern "C" const char* __tsan_default_suppressions() {  // NOLINT
    return "race:std::__exception_ptr::exception_ptr::_M_release\n";
}

// A child process may go on with threads of its own.
extern "C" const char* __tsan_default_options();  // NOLINT

extern "C" const char* __tsan_default_options() { return "die_after_fork=0"; }  // NOLINT
