/*
 * threads.cpp - the library's threading hooks.
 *
 * Exports odbc_thread_init, thread_term, odbc_thread_create,
 * thread_cleanup, thread_wait_on_semaphore, thread_clear_semaphore,
 * thread_close_semaphore, can_connect_async, can_statement_async,
 * mutex_entry and mutex_exit. The library runs without threads of its own,
 * so every hook returns at once: nothing is created, waited for or locked,
 * and asynchronous connection and statement execution are reported as not
 * available. The hooks take any arguments (a driver may pass what a
 * threaded build would take) and ignore them.
 */
#include "kxsupp/arith.h"

extern "C" {

KX_API void odbc_thread_init(...) {}

KX_API void thread_term(...) {}

KX_API int32_t odbc_thread_create(...)
{
    return 0;
}

KX_API int32_t thread_cleanup(...)
{
    return 0;
}

KX_API int32_t thread_wait_on_semaphore(...)
{
    return 0;
}

KX_API void thread_clear_semaphore(...) {}

KX_API void thread_close_semaphore(...) {}

KX_API int32_t can_connect_async(...)
{
    return 0;
}

KX_API int32_t can_statement_async(...)
{
    return 0;
}

KX_API int32_t mutex_entry(...)
{
    return 0;
}

KX_API int32_t mutex_exit(...)
{
    return 0;
}

}  // extern "C"
