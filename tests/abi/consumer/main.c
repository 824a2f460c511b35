/* A tiny program built against an installed libkxsupp: it checks that the
   library it loaded is the version of the headers it was built with, then
   uses it. */
#include <kxsupp.h>
#include <stdio.h>
#include <string.h>

int main(void)
{
    if (strcmp(kxsupp_version(), KXSUPP_VERSION_STRING) != 0 ||
        kxsupp_version_number() != KXSUPP_VERSION_NUMBER) {
        printf("consumer: headers %s, library %s\n", KXSUPP_VERSION_STRING,
               kxsupp_version());
        return 1;
    }
    MemHandle *handle = kx_mem_alloc_handle(NULL);
    char *copy = string_duplicate("installed", handle);
    int ok = copy != NULL && strcmp(copy, "installed") == 0;
    kx_mem_release_handle(handle);
    printf("consumer: %s (libkxsupp %s)\n", ok ? "ok" : "failed", kxsupp_version());
    return ok ? 0 : 1;
}
