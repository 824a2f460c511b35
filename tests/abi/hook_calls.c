/* The thread hooks called as a driver for this build calls them, with no
   arguments, and as one written for a threaded build does, with arguments;
   compiled by check_headers.sh as C99 and C++17 with -pedantic -Werror. */
#include <kxsupp.h>

int hook_calls(void *thread, int semaphore);

int hook_calls(void *thread, int semaphore)
{
    int32_t (*create)(void) = odbc_thread_create;
    if (thread == 0 || semaphore < 0)
        return -1;
    odbc_thread_init();
    odbc_thread_init(&semaphore);
    thread_term(&semaphore, 1);
    thread_clear_semaphore(&semaphore);
    thread_close_semaphore();
    return create() + odbc_thread_create(&thread, 0, &semaphore, 3) +
           thread_cleanup(thread) + thread_wait_on_semaphore(&semaphore, 1000) +
           can_connect_async() + can_statement_async(thread) +
           mutex_entry(&semaphore) + mutex_exit();
}
