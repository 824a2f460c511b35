// small_stack.h - runs a function on a thread whose stack is as small as an
// application's thread may be, and tells how much of it the function used.
//
// The stack is mapped by the test with a guard page below it and painted
// with a pattern first; after the run, the lowest octet that no longer holds
// the pattern marks the deepest the stack went. Overflowing it hits the
// guard page: the test process dies, which fails the test.
#ifndef KXSUPP_TESTS_DRIVER_SMALL_STACK_H
#define KXSUPP_TESTS_DRIVER_SMALL_STACK_H

#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>

namespace kxtest {

// Octets of stack the function used, or 0 when the thread could not run.
inline size_t run_on_stack(size_t stack_size, const std::function<void()> &function)
{
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    size_t mapped = stack_size + page;
    void *area = mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK,
                      -1, 0);
    if (area == MAP_FAILED)
        return 0;
    mprotect(area, page, PROT_NONE);  // the guard page below the stack
    unsigned char *stack = static_cast<unsigned char *>(area) + page;
    std::memset(stack, 0xA5, stack_size);

    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstack(&attributes, stack, stack_size);
    struct Call {
        const std::function<void()> *function;
    } call{&function};
    pthread_t thread;
    size_t used = 0;
    if (pthread_create(&thread, &attributes,
                       [](void *argument) -> void * {
                           (*static_cast<Call *>(argument)->function)();
                           return nullptr;
                       },
                       &call) == 0) {
        pthread_join(thread, nullptr);
        size_t untouched = 0;
        while (untouched < stack_size && stack[untouched] == 0xA5)
            ++untouched;
        used = stack_size - untouched;
    }
    pthread_attr_destroy(&attributes);
    munmap(area, mapped);
    return used;
}

}  // namespace kxtest

#endif  // KXSUPP_TESTS_DRIVER_SMALL_STACK_H
