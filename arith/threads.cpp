/*
 * threads.cpp - the library's threading hooks.
 *
 * Exports odbc_thread_init, thread_term, odbc_thread_create,
 * thread_cleanup, thread_wait_on_semaphore, thread_clear_semaphore,
 * thread_close_semaphore, can_connect_async, can_statement_async,
 * mutex_entry and mutex_exit. The library runs without threads of its own,
 * so every hook returns at once: nothing is created, waited for or locked,
 * and asynchronous connection and statement execution are reported as not
 * available. The hooks take no arguments, with one prototype for C and C++;
 * the header's macros of the same names drop what a caller passes. The
 * names are parenthesised here so that those macros do not apply.
 */
#include "kxsupp/arith.h"

extern "C" {

KX_API void(odbc_thread_init)(void) {}

KX_API void(thread_term)(void) {}

KX_API int32_t(odbc_thread_create)(void)
{
    return 0;
}

KX_API int32_t(thread_cleanup)(void)
{
    return 0;
}

KX_API int32_t(thread_wait_on_semaphore)(void)
{
    return 0;
}

KX_API void(thread_clear_semaphore)(void) {}

KX_API void(thread_close_semaphore)(void) {}

KX_API int32_t(can_connect_async)(void)
{
    return 0;
}

KX_API int32_t(can_statement_async)(void)
{
    return 0;
}

KX_API int32_t(mutex_entry)(void)
{
    return 0;
}

KX_API int32_t(mutex_exit)(void)
{
    return 0;
}

}  // extern "C"
