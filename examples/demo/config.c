/*
 * Configuration, as a driver serves SQLDriverConnect: the application's
 * connection string is parsed, the data source's settings are read from a
 * profile file and merged in (the application's own values win), and the
 * completed string is generated again; then one setting is written back to
 * the profile file, and a statement gets a generated cursor name.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "demo.h"

static int failures;

static void check(int condition, const char *what)
{
    if (!condition) {
        printf("  !! not as described: %s\n", what);
        failures++;
    }
}

int demo_config(void)
{
    static const char *const keys[] = {"Server", "Port", "Database", "UID"};
    char dir[] = "/tmp/kxsupp_demo_XXXXXX";
    char path[128];
    char value[128];
    char text[512];
    FILE *file;
    MemHandle *mem;
    ProfileHandle *profile;
    ConnectionString app;
    ConnectionString dsn;
    DriverConnection conn;
    DriverStatement stmt;
    size_t i;

    failures = 0;
    printf("\n== Configuration: profile file, connection strings, cursor names ==\n");
    if (mkdtemp(dir) == NULL) {
        printf("  could not make a temporary directory\n");
        return 1;
    }
    snprintf(path, sizeof path, "%s/odbc.ini", dir);
    file = fopen(path, "w");
    if (file == NULL) {
        printf("  could not write %s\n", path);
        return 1;
    }
    fputs("# data sources of the demonstration\n"
          "[Sales]\n"
          "Server = db.example.com\n"
          "Port = 5432\n"
          "Database = accounts\n"
          "UID = reporting\n"
          "{default}\n"
          "blob_path = /var/tmp\n",
          file);
    fclose(file);
    printf("  The profile file %s names the data source [Sales].\n", path);

    mem = kx_mem_alloc_handle(NULL);
    profile = open_registry();
    set_config(profile, path);

    /* The application's text. */
    parse_connection_string(&app, mem, "dsn=Sales;uid=alice;pwd=secret", KX_NTS, 0);
    printf("  The application connects with \"dsn=Sales;uid=alice;pwd=secret\":\n");
    printf("    %d attributes, DSN is \"%s\", UID is \"%s\".\n", app.count,
           get_attribute_value(&app, "DSN"), get_attribute_value(&app, "uid"));
    check(app.count == 3, "three attributes parsed");

    /* The data source's settings, then the application's values over them. */
    set_dsn(profile, get_attribute_value(&app, "DSN"));
    init_con_str(&dsn);
    for (i = 0; i < sizeof keys / sizeof keys[0]; i++) {
        get_default(profile, keys[i], value, sizeof value);
        if (value[0] != '\0')
            append_pair(&dsn, keys[i], value, mem);
        printf("    [Sales] %s = %s\n", keys[i], value);
    }
    merge_connection_string(&dsn, &app, mem);
    generate_connection_string(&dsn, text, sizeof text - 1);
    printf("  Merged with the data source's settings, the completed string is:\n"
           "    %s\n", text);
    check(strcmp(text, "SERVER=db.example.com;PORT=5432;DATABASE=accounts;UID=alice;"
                       "DSN=Sales;PWD=secret;") == 0,
          "the completed connection string");
    printf("  (the application's UID \"alice\" replaced the file's \"reporting\").\n");

    generate_connection_string_config(&dsn, text, sizeof text);
    printf("  As an attribute list for configuration it starts \"%s\", \"%s\", ...\n",
           text, text + strlen(text) + 1);
    check(strcmp(text, "SERVER=db.example.com") == 0, "the attribute list");

    /* Library defaults live in "{default}". */
    set_dsn(profile, "");
    get_default(profile, "blob_path", value, sizeof value);
    printf("  With no data source set, the library default blob_path is %s.\n", value);
    check(strcmp(value, "/var/tmp") == 0, "the default blob_path");

    /* A setting written back: the old file is kept with "~". */
    check(set_profile_string(profile, 2, "Sales", "Port", "6543") == 0,
          "the profile file rewritten");
    get_profile_string(profile, 2, "Sales", "Port", "", value, sizeof value);
    printf("  After writing Port = 6543 into [Sales], it reads back as %s;\n", value);
    check(strcmp(value, "6543") == 0, "the new Port");
    snprintf(text, sizeof text, "%s~", path);
    printf("  the previous contents are kept in %s.\n", text);
    check(access(text, R_OK) == 0, "the backup file");

    /* A missing file: the default stands and the reason is kept. */
    set_config(profile, "/nonexistent/odbc.ini");
    get_profile_string(profile, 2, "Sales", "Port", "1521", value, sizeof value);
    printf("  From a missing file the default %s stands: \"%s\".\n", value,
           registry_error(profile));
    check(strcmp(value, "1521") == 0, "the default of a missing file");

    /* Cursor names. */
    memset(&conn, 0, sizeof conn);
    memset(&stmt, 0, sizeof stmt);
    conn.kind = KX_KIND_CONNECTION;
    conn.mem_handle = mem;
    stmt.kind = KX_KIND_STATEMENT;
    stmt.connection = &conn;
    generate_cursor_name(&stmt);
    printf("  A new statement is given the cursor name %s,", get_cursor_name(&stmt));
    printf(" and \"WHERE CURRENT OF %s\" finds it again.\n", stmt.cursor_name);
    check(strcmp(stmt.cursor_name, "SQL_CUR00000000") == 0, "the first cursor name");
    check(get_stmt_by_cursor(&stmt, "SQL_CUR00000000") == &stmt, "the look-up");

    close_registry(profile);
    kx_mem_release_handle(mem);
    unlink(path);
    unlink(text);
    rmdir(dir);
    return failures;
}
