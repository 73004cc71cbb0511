// ThreadSanitizer settings for the tests that drive threads, built into each such program so that
// any way of running it uses them. CLucene is not instrumented: its own locking destroys mutexes it
// still holds and keeps more locks held at once than the lock-order detector can track. Our code
// never holds two locks at once, so lock-order detection is off; data races are always reported.

#if defined(__SANITIZE_THREAD__)
extern "C" const char* __tsan_default_options() {
    return "detect_deadlocks=0";
}
extern "C" const char* __tsan_default_suppressions() {
    return "mutex:libclucene-shared.so\n";
}
#endif
