/*
 * A program that defines its own ListFirst and kx_mem_alloc, exported to
 * the dynamic linker, and links the shared library. Its definitions serve
 * its own calls only: the library's internal lists, allocations and
 * connection strings keep using the library's functions.
 */
#include <stdio.h>
#include <string.h>

#include <kxsupp.h>

static int own_list_first_calls;
static int own_alloc_calls;

/* Stand-ins that would break the library if it called them. */
ListElement *ListFirst(const List *list)
{
    (void)list;
    own_list_first_calls++;
    return NULL;
}

void *kx_mem_alloc(MemHandle *handle, size_t size)
{
    (void)handle;
    (void)size;
    own_alloc_calls++;
    return NULL;
}

static int failures;

static void check(int condition, const char *what)
{
    if (!condition) {
        printf("FAILED: %s\n", what);
        failures++;
    }
}

int main(void)
{
    MemHandle *handle = kx_mem_alloc_handle(NULL);
    check(handle != NULL, "a handle");

    /* The program's own names answer the program's own calls. */
    check(kx_mem_alloc(handle, 16) == NULL && own_alloc_calls == 1,
          "the program's kx_mem_alloc serves the program");
    check(ListFirst(NULL) == NULL && own_list_first_calls == 1,
          "the program's ListFirst serves the program");

    /* The library's allocations and list walks stay its own. */
    char *copy = string_duplicate("driver", handle);
    check(copy != NULL && strcmp(copy, "driver") == 0,
          "string_duplicate allocates through the library's kx_mem_alloc");

    ConnectionString cs;
    init_con_str(&cs);
    parse_connection_string(&cs, handle, "DSN=sales;UID=ann", KX_NTS, 0);
    char *uid = get_attribute_value(&cs, "UID");
    check(uid != NULL && strcmp(uid, "ann") == 0,
          "get_attribute_value walks the pairs with the library's ListFirst");

    check(own_alloc_calls == 1, "the library never called the program's kx_mem_alloc");
    check(own_list_first_calls == 1, "the library never called the program's ListFirst");

    kx_mem_release_handle(handle);
    if (failures == 0)
        printf("interposition: the library kept its own functions\n");
    return failures == 0 ? 0 : 1;
}
