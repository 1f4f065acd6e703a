// Qt's global objects live until the process ends; leaks are not what the
// sanitized run looks for.
extern "C" const char* __asan_default_options() { return "detect_leaks=0"; }
