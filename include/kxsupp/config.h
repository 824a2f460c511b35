/*
 * kxsupp/config.h - the profile file, connection strings and cursor names.
 *
 *  1. A ProfileHandle is the caller's from open_registry to close_registry
 *     (the library mallocs and frees it); it keeps no file open between
 *     calls. The texts the profile calls return live in that handle or in
 *     the caller's buffer, never in memory the caller must free.
 *  2. Profile reads and writes report a failure by returning -1 and leave
 *     the reason in the handle, read with registry_error; nothing is
 *     posted as an ODBC diagnostic.
 *  3. Connection-string pairs and their texts belong to the MemHandle
 *     given to the call that adds them and die with it. The generators
 *     write into the caller's buffer; only generate_connection_string_ex
 *     trusts the caller for its size.
 *  4. Cursor names live in the statements' own records and the registry in
 *     the connection's MemHandle; the cursor calls post nothing, and a
 *     driver checks names (SQLSTATEs 3C000, 34000) with their results.
 */
#ifndef KXSUPP_CONFIG_H
#define KXSUPP_CONFIG_H

#include "kxsupp/common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- registry: the profile file ---- */

/*
 * The profile file holds sections of "key = value" lines. The bracket kind
 * of a section header selects one of three name spaces: mode 0 "{name}"
 * (library settings: "{default}", "{settings}"), mode 1 "(name)", and any
 * other mode "[name]" (data sources). A ProfileHandle is malloc'ed by
 * open_registry and freed by close_registry; it holds no open file between
 * calls. Every read and write first sets the handle's error text to
 * "Unknown error" and overwrites it when a file cannot be opened or renamed,
 * or when a write is refused.
 */

/* The default profile path, "odbc.ini" in the current directory. */
KX_API extern const char default_config[];

/* A new handle on the default path with no data source and no reader, or
   null when memory is exhausted. */
KX_API ProfileHandle *open_registry(void);
/* Frees the handle (null is allowed). */
KX_API void close_registry(ProfileHandle *handle);
/* Sets the file path (a longer path is cut to 255 octets); returns the
   handle's path field. */
KX_API char *set_config(ProfileHandle *handle, const char *path);
/* Sets the current data source (a longer name is cut to 255 octets; null
   clears it); returns the handle's data-source field. */
KX_API char *set_dsn(ProfileHandle *handle, const char *name);
/* Installs a reader called instead of the file for data-source sections
   (mode 2), as reader(section, key, default, output, size, "ODBC.INI"). */
KX_API void set_ini_function(ProfileHandle *handle, ProfileReader reader);
/* The handle's error text, or null for a null handle. */
KX_API char *registry_error(ProfileHandle *handle);
/* Copies the value of key in section (case-insensitive) into output, or
   default_value when absent; an overlong value ends in "0" and is cut to
   output_size - 1 characters. Returns 0, or -1 when the file cannot be
   opened, a directory included (output then holds the default). */
KX_API int32_t get_profile_string(ProfileHandle *handle, int32_t mode,
                                  const char *section, const char *key,
                                  const char *default_value, char *output,
                                  int32_t output_size);
/* Writes key = value into an existing, non-empty section by rewriting the
   file (the old file stays as path + "~"). Lines of other sections before
   the target section are not carried over. A path that is a symbolic link
   is written through: the file it leads to is rewritten, its backup made
   beside it, and the link stays. Returns 0, or -1 with the error text set
   on a file error, or when the section, key or value holds a line break
   ("\n" or "\r"; the file is then left untouched). */
KX_API int32_t set_profile_string(ProfileHandle *handle, int32_t mode,
                                  const char *section, const char *key,
                                  const char *value);
/* Reads key from the current data source's "[name]" section, or from
   "{default}" when no data source is set; default "". Returns output. */
KX_API char *get_default(ProfileHandle *handle, const char *key, char *output,
                         int32_t output_size);

/* ---- end registry ---- */

/* ---- connfunc: connection strings ---- */

/*
 * A ConnectionString is an ordered list of keyword/value pairs whose pair
 * records and texts live in the MemHandle given to the calls that add them.
 * Keywords compare case-insensitively; append_pair upper-cases new keywords.
 * Text may be given with a length or KX_NTS (-3) when zero-terminated.
 */

/* Empties the record (count 0, no pairs); returns cs (null stays null). */
KX_API ConnectionString *init_con_str(ConnectionString *cs);
/* Parses "KEY=value;..." into cs (earlier pairs are forgotten). Unless bit 0
   of flags is set, adds DSN=DEFAULT when no DSN, DRIVER or FILEDSN was
   given. Returns 0. */
KX_API int32_t parse_connection_string(ConnectionString *cs, MemHandle *handle,
                                       const char *text, int32_t length,
                                       int32_t flags);
/* Scans one attribute at *cursor, advancing it; *keyword and *value are set
   to copies in handle, or left null when no "=" remains. */
KX_API void get_attr(MemHandle *handle, const char **cursor, char **keyword,
                     char **value);
/* Sets keyword to a copy of value, adding an upper-cased pair at the end
   when absent. Returns 1 (nothing stored) for a null value, else 0. */
KX_API int32_t append_pair(ConnectionString *cs, const char *keyword,
                           const char *value, MemHandle *handle);
/* Source values override target values; new keywords are appended. 0. */
KX_API int32_t merge_connection_string(ConnectionString *target,
                                       const ConnectionString *source,
                                       MemHandle *handle);
/* The value for keyword ("" for a null value), or null when absent. */
KX_API char *get_attribute_value(const ConnectionString *cs,
                                 const char *keyword);
/* Gives the first pair with keyword a copy of value; returns 0. */
KX_API int32_t modify_connection_string(ConnectionString *cs,
                                        const char *keyword, const char *value,
                                        MemHandle *handle);
/* Renames the first pair with keyword to new_keyword as given; returns 0. */
KX_API int32_t change_connection_string(ConnectionString *cs,
                                        const char *keyword,
                                        const char *new_keyword,
                                        MemHandle *handle);
/* Renames the last pair with old_keyword unless a pair with new_keyword
   exists; returns nonzero when a pair was renamed, else 0. */
KX_API int32_t replace_connection_string(ConnectionString *cs,
                                         const char *old_keyword,
                                         const char *new_keyword,
                                         MemHandle *handle);
/* Removes the first pair with keyword; the count is left as it was. */
KX_API int32_t delete_connection_string(ConnectionString *cs,
                                        const char *keyword,
                                        MemHandle *handle);
/* The application's connection string in buffer (size + 1 octets): DRIVER
   is left out when DSN is present, Description always; pieces that would
   pass size characters are dropped. An empty record gives "" (buffer
   untouched). */
KX_API char *generate_connection_string(const ConnectionString *cs,
                                        char *buffer, int32_t size);
/* Every pair but ODBCDM as "KEY=value;", unbounded: the caller's buffer must
   be large enough. An empty record gives "" (buffer untouched). */
KX_API char *generate_connection_string_ex(const ConnectionString *cs,
                                           char *buffer);
/* Zero-separated "KEY=value" entries ended by an empty entry, within size
   octets; null for a null buffer or size below 2. */
KX_API char *generate_connection_string_config(const ConnectionString *cs,
                                               char *buffer, int32_t size);

/* ---- end connfunc ---- */

/* ---- cursor: cursor names ---- */

/*
 * A statement's cursor name lives in its cursor_name field (a longer name is
 * cut to KX_CURSOR_NAME_SIZE - 1 characters); the connection's
 * cursor_registry lists its named statements, in its mem_handle. Names
 * compare case-sensitively.
 */

/* Gives the statement the next free "SQL_CUR%08x" name of its connection's
   counter and registers it. */
KX_API void generate_cursor_name(DriverStatement *stmt);
/* Copies name into the statement and registers it (reusing a free slot). */
KX_API void insert_cursor_name(DriverStatement *stmt, const char *name);
/* The statement of stmt's connection named name, or null. */
KX_API DriverStatement *get_stmt_by_cursor(DriverStatement *stmt,
                                           const char *name);
/* Unregisters the statement named name and empties its name. */
KX_API void remove_cursor_name(DriverStatement *stmt, const char *name);
/* The statement's cursor-name field. */
KX_API char *get_cursor_name(DriverStatement *stmt);

/* ---- end cursor ---- */

#ifdef __cplusplus
}
#endif

#endif /* KXSUPP_CONFIG_H */
