/* A tiny program built against an installed libkxsupp. */
#include <kxsupp.h>
#include <stdio.h>
#include <string.h>

int main(void)
{
    MemHandle *handle = kx_mem_alloc_handle(NULL);
    char *copy = string_duplicate("installed", handle);
    int ok = copy != NULL && strcmp(copy, "installed") == 0;
    kx_mem_release_handle(handle);
    printf("consumer: %s\n", ok ? "ok" : "failed");
    return ok ? 0 : 1;
}
