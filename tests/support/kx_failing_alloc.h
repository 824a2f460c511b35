// An allocator for the tests of what the library does when memory runs out.
//
// Included by exactly one source file of a test program, it replaces the
// system allocator (malloc, calloc, realloc and free, as the C library
// allows) with one that passes every request to the C library's own
// allocator until a test asks it to fail the n-th request from now. A
// failed request sets errno to ENOMEM, as the C library's does. The state
// is per thread, so only the test's own thread is failed.
#ifndef KX_TEST_FAILING_ALLOC_H
#define KX_TEST_FAILING_ALLOC_H

#include <cerrno>
#include <cstddef>

extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *p, size_t size);
void __libc_free(void *p);
}

namespace kxtest {

// Requests still to pass before one fails; negative when none is to fail.
thread_local long g_requests_before_failure = -1;
thread_local bool g_request_failed = false;

inline bool this_request_fails()
{
    if (g_requests_before_failure < 0)
        return false;
    if (g_requests_before_failure-- > 0)
        return false;
    g_request_failed = true;
    errno = ENOMEM;
    return true;
}

// Fails the request that comes after n others (n = 0: the next one).
inline void fail_request_after(long n)
{
    g_requests_before_failure = n;
    g_request_failed = false;
}

// Stops failing; true when a request was failed since fail_request_after.
inline bool stop_failing()
{
    g_requests_before_failure = -1;
    return g_request_failed;
}

}  // namespace kxtest

extern "C" void *malloc(size_t size) noexcept
{
    return kxtest::this_request_fails() ? nullptr : __libc_malloc(size);
}

extern "C" void *calloc(size_t count, size_t size) noexcept
{
    return kxtest::this_request_fails() ? nullptr : __libc_calloc(count, size);
}

extern "C" void *realloc(void *p, size_t size) noexcept
{
    return kxtest::this_request_fails() ? nullptr : __libc_realloc(p, size);
}

extern "C" void free(void *p) noexcept
{
    __libc_free(p);
}

#endif
