// Calls of functions that newer C libraries have under a new version as well go to the
// old one: the bundle then loads on systems with glibc 2.31 and newer, whatever it was
// built on. The linker is told to send each call to the function with __wrap_ before its
// name.

#include <pthread.h>
#include <time.h>

// NOLINTBEGIN(bugprone-reserved-identifier): the linker and the C library have these
// names
extern "C" {

// Data that glibc has had since 2.32 only. "Perhaps not" is always right.
extern const char __libc_single_threaded;
const char __libc_single_threaded = 0;

int old_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
int old_join(pthread_t, void**);
int old_once(pthread_once_t*, void (*)());
int old_clockwait(pthread_cond_t*, pthread_mutex_t*, clockid_t, const timespec*);
unsigned long old_strtoul(const char*, char**, int);
__asm__(".symver old_create, pthread_create@GLIBC_2.2.5");
__asm__(".symver old_join, pthread_join@GLIBC_2.2.5");
__asm__(".symver old_once, pthread_once@GLIBC_2.2.5");
__asm__(".symver old_clockwait, pthread_cond_clockwait@GLIBC_2.30");
__asm__(".symver old_strtoul, strtoul@GLIBC_2.2.5");

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*work)(void*), void* argument) {
    return old_create(thread, attributes, work, argument);
}
int __wrap_pthread_join(pthread_t thread, void** result) {
    return old_join(thread, result);
}
int __wrap_pthread_once(pthread_once_t* once, void (*work)()) {
    return old_once(once, work);
}
int __wrap_pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  clockid_t clock, const timespec* until) {
    return old_clockwait(condition, mutex, clock, until);
}
// The C++ library of GCC 14 calls it; it also reads binary numbers.
unsigned long __wrap___isoc23_strtoul(const char* text, char** end, int base) {
    return old_strtoul(text, end, base);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
