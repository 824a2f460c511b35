/*
 * trace.cpp - call tracing for the drivers.
 *
 * Exports the trace switch `error_mask` and the two writers `log_message`
 * and `_log_message`. A driver traces an ODBC entry point with one call:
 *
 *     log_message("SQLExecute", 12, 1, "hstmt=%h rc=%e", hstmt, rc);
 *
 * which, when category 1 is switched on in error_mask, writes the line
 *
 *     [4711]SQLExecute@0012         :hstmt=0x55d0c8 rc=SQL_SUCCESS
 *
 * The header "[pid]tag@number" is padded with spaces to 30 characters, so
 * that the ":" stands in column 31 unless the header is longer. The format
 * language has directives for ODBC arguments (see format_directive below);
 * "%%" and unknown directives print nothing.
 *
 * A line goes to the file named by "log_file" in "{settings}" of the
 * profile, read anew for every line (the profile store answers from its
 * cache while the file is unchanged), or to standard error when the setting
 * is empty or the file cannot be opened. The whole line is built in memory
 * first and then appended with a single write() on a descriptor opened with
 * O_APPEND, so lines written by several threads or processes at once never
 * interleave inside a line.
 *
 * The log's descriptor is kept open between lines (opening and closing it
 * was most of a line's cost), together with what the path named when it was
 * opened. Before each line the path is looked up again with stat(): a log
 * removed, renamed away, replaced, or whose owner or permission bits changed
 * is closed and opened anew by name, so a line goes exactly where opening
 * the path for that line would send it. A change of "log_file" closes the
 * old log at the next line. The error_mask switch may be flipped by any
 * thread while others trace: it is read with an atomic load.
 */
#include "kxsupp/config.h"
#include "kxsupp/diagnostics.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <pthread.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

KX_API uint32_t error_mask = 0;

namespace {

/* The header is padded with spaces up to this many characters. */
constexpr size_t kHeaderColumn = 30;

/* The profile setting that names the log file, and its buffer size. */
constexpr const char *kSettingsSection = "settings";
constexpr const char *kLogFileKey = "log_file";
constexpr int32_t kLogFileSize = 128;

/* Names of the ODBC return codes for %e. The spelling of code 1 is the
   one the drivers' trace readers expect. */
struct ReturnCodeName {
    int32_t code;
    const char *name;
};

constexpr ReturnCodeName kReturnCodeNames[] = {
    {0, "SQL_SUCCESS"},
    {1, "SQL_SUCESS_WITH_INFO"},
    {-1, "SQL_ERROR"},
    {-2, "SQL_INVALID_HANDLE"},
    {2, "SQL_STILL_EXECUTING"},
    {99, "SQL_NEED_DATA"},
    {100, "SQL_NO_DATA"},
};

/*
 * One line under construction. It starts in the record's own area and
 * moves to the heap when it outgrows it, doubling each time. One octet is
 * always kept for the final newline, so a line cut short by exhausted
 * memory still ends in "\n".
 */
struct LineBuffer {
    char *data;
    size_t length;
    size_t capacity;  /* octets of data, the newline's octet included */
    bool on_heap;
    bool cut;         /* memory ran out: further text is dropped */
    char local[1024];
};

void line_init(LineBuffer *line)
{
    line->data = line->local;
    line->length = 0;
    line->capacity = sizeof line->local;
    line->on_heap = false;
    line->cut = false;
}

void line_release(LineBuffer *line)
{
    if (line->on_heap)
        free(line->data);
}

/* Makes room for `extra` more octets of text (plus the newline's octet).
   Returns false, and marks the line cut, when memory is exhausted. */
bool line_reserve(LineBuffer *line, size_t extra)
{
    if (line->cut)
        return false;
    size_t room = line->capacity - 1 - line->length;
    if (extra <= room)
        return true;
    size_t needed = line->length + extra + 1;
    if (needed < line->length) {  /* wrapped */
        line->cut = true;
        return false;
    }
    size_t capacity = line->capacity;
    while (capacity < needed) {
        if (capacity > SIZE_MAX / 2) {
            capacity = needed;
            break;
        }
        capacity *= 2;
    }
    char *data = static_cast<char *>(malloc(capacity));
    if (data == nullptr) {
        line->cut = true;
        return false;
    }
    memcpy(data, line->data, line->length);
    if (line->on_heap)
        free(line->data);
    line->data = data;
    line->capacity = capacity;
    line->on_heap = true;
    return true;
}

/* Appends `count` octets; when memory runs out, as many as fit. */
void line_append(LineBuffer *line, const char *text, size_t count)
{
    if (count == 0)
        return;
    if (!line_reserve(line, count)) {
        size_t room = line->capacity - 1 - line->length;
        count = count < room ? count : room;
    }
    memcpy(line->data + line->length, text, count);
    line->length += count;
}

void line_puts(LineBuffer *line, const char *text)
{
    line_append(line, text, strlen(text));
}

void line_putc(LineBuffer *line, char c)
{
    line_append(line, &c, 1);
}

/* Appends value in decimal, zero-padded after any sign to at least
   `width` characters, as "%0*d" writes it. Numbers are on every line
   (process id, call number), so they do not go through printf. */
void line_decimal(LineBuffer *line, int64_t value, int width)
{
    char item[24];
    char *end = item + sizeof item;
    char *p = end;
    uint64_t magnitude = value < 0 ? 0 - static_cast<uint64_t>(value)
                                   : static_cast<uint64_t>(value);
    do {
        *--p = static_cast<char>('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);
    int digits = value < 0 ? width - 1 : width;
    while (end - p < digits && p > item + 1)
        *--p = '0';
    if (value < 0)
        *--p = '-';
    line_append(line, p, static_cast<size_t>(end - p));
}

/* Appends a short printf-formatted item (pointers). */
void line_printf(LineBuffer *line, const char *format, ...)
    __attribute__((format(printf, 2, 3)));

void line_printf(LineBuffer *line, const char *format, ...)
{
    char item[128];
    va_list arguments;
    va_start(arguments, format);
    int n = vsnprintf(item, sizeof item, format, arguments);
    va_end(arguments);
    if (n < 0)
        return;
    size_t count = static_cast<size_t>(n);
    if (count >= sizeof item)
        count = sizeof item - 1;
    line_append(line, item, count);
}

/* Length of text, looking at no more than `limit` octets. */
size_t bounded_length(const char *text, size_t limit)
{
    const void *end = memchr(text, '\0', limit);
    return end ? static_cast<size_t>(static_cast<const char *>(end) - text)
               : limit;
}

/* Appends `"text"` with at most `count` characters of text (fewer when
   the text ends first), or the whole text when count is negative. */
void line_quoted(LineBuffer *line, const char *text, int32_t count)
{
    line_putc(line, '"');
    if (text != nullptr) {
        size_t length = count < 0 ? strlen(text)
                                  : bounded_length(text, static_cast<size_t>(count));
        line_append(line, text, length);
    }
    line_putc(line, '"');
}

void format_return_code(LineBuffer *line, int32_t code)
{
    for (const ReturnCodeName &entry : kReturnCodeNames) {
        if (entry.code == code) {
            line_puts(line, entry.name);
            return;
        }
    }
    line_puts(line, "UNKNOWN=");
    line_decimal(line, code, 0);
}

/* %S: a text and its ODBC length (SQL_NTS, a count, or another negative
   number that no caller should pass). */
void format_counted_text(LineBuffer *line, const char *text, int16_t length)
{
    if (length == KX_NTS) {
        if (text == nullptr)
            line_puts(line, "<NULL>");
        else
            line_quoted(line, text, -1);
        line_puts(line, "{SQL_NTS}");
    } else if (length >= 0) {
        line_quoted(line, text, length);
        line_putc(line, '{');
        line_decimal(line, length, 0);
        line_putc(line, '}');
    } else {
        line_puts(line, "\"????\"{");
        line_decimal(line, length, 0);
        line_putc(line, '}');
    }
}

/* %*S: a text and a pointer to its length. Without a length the whole
   text is shown, followed by "{NULL}"; a negative pointed-to length also
   shows the whole text. */
void format_text_with_length_pointer(LineBuffer *line, const char *text,
                                     const int16_t *length)
{
    if (text == nullptr) {
        if (length == nullptr)
            line_puts(line, "<NULLSTR>{NULL}");
        else
            line_printf(line, "<NULLSTR>{%p->%d}",
                        static_cast<const void *>(length), *length);
        return;
    }
    if (length == nullptr) {
        line_quoted(line, text, -1);
        line_puts(line, "{NULL}");
        return;
    }
    line_quoted(line, text, *length);
    line_printf(line, "{%p->%d}", static_cast<const void *>(length), *length);
}

/*
 * Formats the directive at *cursor (the character after "%") and moves the
 * cursor past it. Each directive takes its arguments in order:
 *
 *   %I int, %U unsigned, %i / %u the low 16 bits of an int (signed /
 *   unsigned), %p %h a pointer, %s a string, %e a return code, %S a text
 *   and its length, %*S a text and a pointer to its length, %*I a pointer
 *   to an int, %*h a pointer to a pointer.
 *
 * Any other character (after "%" or after "%*") is consumed, prints
 * nothing and takes no argument. The format's terminator is never
 * consumed.
 */
void format_directive(LineBuffer *line, const char **cursor, va_list *arguments)
{
    const char *p = *cursor;
    char letter = *p;
    if (letter == '\0')
        return;
    p++;
    if (letter == '*') {
        char second = *p;
        if (second != '\0')
            p++;
        if (second == 'S') {
            const char *text = va_arg(*arguments, const char *);
            const int16_t *length = va_arg(*arguments, const int16_t *);
            format_text_with_length_pointer(line, text, length);
        } else if (second == 'I') {
            const int32_t *value = va_arg(*arguments, const int32_t *);
            if (value == nullptr)
                line_puts(line, "<NULLPTR>");
            else
                line_printf(line, "%p->%d", static_cast<const void *>(value),
                            *value);
        } else if (second == 'h') {
            void *const *value = va_arg(*arguments, void *const *);
            if (value == nullptr)
                line_puts(line, "<NULLPTR>");
            else
                line_printf(line, "%p->%p", static_cast<const void *>(value),
                            *value);
        }
        *cursor = p;
        return;
    }
    switch (letter) {
    case 'I':
        line_decimal(line, va_arg(*arguments, int32_t), 0);
        break;
    case 'U':
        line_decimal(line, va_arg(*arguments, uint32_t), 0);
        break;
    case 'i':
        line_decimal(line, static_cast<int16_t>(va_arg(*arguments, int32_t)), 0);
        break;
    case 'u':
        line_decimal(line, static_cast<uint16_t>(va_arg(*arguments, uint32_t)), 0);
        break;
    case 'p':
    case 'h':
        line_printf(line, "%p", va_arg(*arguments, void *));
        break;
    case 's': {
        const char *text = va_arg(*arguments, const char *);
        if (text == nullptr) {
            line_puts(line, "<NULLPTR>");
        } else {
            line_printf(line, "%p->", static_cast<const void *>(text));
            line_puts(line, text);
        }
        break;
    }
    case 'e':
        format_return_code(line, va_arg(*arguments, int32_t));
        break;
    case 'S': {
        const char *text = va_arg(*arguments, const char *);
        int16_t length = static_cast<int16_t>(va_arg(*arguments, int32_t));
        format_counted_text(line, text, length);
        break;
    }
    default:
        break;
    }
    *cursor = p;
}

/* Builds the whole line: header, padding, ":", the formatted text and the
   newline. */
void build_line(LineBuffer *line, const char *tag, int32_t number,
                const char *format, va_list *arguments)
{
    line_putc(line, '[');
    line_decimal(line, static_cast<int>(getpid()), 0);
    line_putc(line, ']');
    line_puts(line, tag != nullptr ? tag : "(null)");
    line_putc(line, '@');
    line_decimal(line, number, 4);
    while (line->length < kHeaderColumn && !line->cut)
        line_putc(line, ' ');
    line_putc(line, ':');

    if (format == nullptr) {
        line_puts(line, "<NULL FORMAT>");
    } else {
        const char *p = format;
        while (*p != '\0') {
            const char *percent = strchr(p, '%');
            if (percent == nullptr) {
                line_puts(line, p);
                break;
            }
            line_append(line, p, static_cast<size_t>(percent - p));
            p = percent + 1;
            format_directive(line, &p, arguments);
        }
    }
    /* line_reserve always keeps this octet free. */
    line->data[line->length++] = '\n';
}

/* Writes all of data to fd, going on after a partial write or a signal.
   False (errno set) when a write fails. */
bool write_all(int fd, const char *data, size_t count)
{
    while (count > 0) {
        ssize_t n = write(fd, data, count);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        data += n;
        count -= static_cast<size_t>(n);
    }
    return true;
}

/* The log kept open between lines: its descriptor (-1 when none), the
   "log_file" text it was opened for, and the identity, owner and permission
   bits of the file it was opened on. Guarded by open_log_mutex, which is
   also held across the write so that no thread closes the descriptor under
   another one's write. */
struct FileIdentity {
    uint32_t dev_major;
    uint32_t dev_minor;
    uint64_t ino;
    uint16_t mode;
    uint32_t uid;
    uint32_t gid;
};

struct OpenLog {
    int fd;
    char path[kLogFileSize];
    FileIdentity identity;
};

OpenLog open_log = {-1, {}, {}};
pthread_mutex_t open_log_mutex = PTHREAD_MUTEX_INITIALIZER;

/* A child forked while another thread wrote a line must not inherit the
   mutex locked: it is taken around fork(). */
void lock_open_log() { pthread_mutex_lock(&open_log_mutex); }
void unlock_open_log() { pthread_mutex_unlock(&open_log_mutex); }
pthread_once_t fork_handlers_once = PTHREAD_ONCE_INIT;
void install_fork_handlers()
{
    pthread_atfork(lock_open_log, unlock_open_log, unlock_open_log);
}

/* The identity, owner and permission bits of the file at path (relative to
   dir_fd), or of dir_fd itself for an empty path. statx() asked for these
   fields only, without syncing: on a log being appended to, a full stat()
   costs about twice as much. */
bool identity_of(int dir_fd, const char *path, int flags, FileIdentity *out)
{
    struct statx sx;
    if (statx(dir_fd, path, flags | AT_STATX_DONT_SYNC,
              STATX_TYPE | STATX_MODE | STATX_UID | STATX_GID | STATX_INO, &sx) != 0)
        return false;
    *out = {sx.stx_dev_major, sx.stx_dev_minor, sx.stx_ino, sx.stx_mode, sx.stx_uid,
            sx.stx_gid};
    return true;
}

bool same_identity(const FileIdentity &a, const FileIdentity &b)
{
    return a.dev_major == b.dev_major && a.dev_minor == b.dev_minor && a.ino == b.ino &&
           a.mode == b.mode && a.uid == b.uid && a.gid == b.gid;
}

/* True when the kept descriptor still is what opening log_file now would
   give: the same setting, the path naming the file the descriptor was
   opened on, and owner and permission bits as they were, so that a log that
   could no longer be opened for writing is not written either. */
bool open_log_is_current(const char *log_file)
{
    if (open_log.fd < 0 || strcmp(open_log.path, log_file) != 0)
        return false;
    FileIdentity by_name;
    return identity_of(AT_FDCWD, log_file, 0, &by_name) &&
           same_identity(by_name, open_log.identity);
}

void close_open_log()
{
    if (open_log.fd >= 0)
        close(open_log.fd);
    open_log.fd = -1;
}

/* Opens log_file as the kept log; false (nothing kept) when it cannot be
   opened for appending. */
bool reopen_log(const char *log_file)
{
    close_open_log();
    int fd;
    do {
        fd = open(log_file, O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0)
        return false;
    FileIdentity identity;
    if (!identity_of(fd, "", AT_EMPTY_PATH, &identity)) {
        close(fd);
        return false;
    }
    open_log.fd = fd;
    memcpy(open_log.path, log_file, kLogFileSize);
    open_log.identity = identity;
    return true;
}

/* Appends the line to the log file named in the profile, or to standard
   error. */
void emit_line(ProfileHandle *profile, const char *data, size_t count)
{
    char log_file[kLogFileSize];
    memset(log_file, 0, sizeof log_file);
    if (profile != nullptr) {
        get_profile_string(profile, 0, kSettingsSection, kLogFileKey, "",
                           log_file, kLogFileSize);
        log_file[kLogFileSize - 1] = '\0';
    }
    pthread_once(&fork_handlers_once, install_fork_handlers);
    pthread_mutex_lock(&open_log_mutex);
    bool to_log = false;
    if (log_file[0] != '\0')
        to_log = open_log_is_current(log_file) || reopen_log(log_file);
    else
        close_open_log();
    /* A descriptor closed behind the library's back (a daemon closing all
       its descriptors) is opened anew and the line written once more. */
    if (to_log && !write_all(open_log.fd, data, count) && errno == EBADF) {
        open_log.fd = -1;
        if (reopen_log(log_file))
            write_all(open_log.fd, data, count);
    }
    pthread_mutex_unlock(&open_log_mutex);
    if (!to_log)
        write_all(STDERR_FILENO, data, count);
}

}  // namespace

extern "C" {

KX_API int32_t _log_message(const char *tag, int32_t number, uint32_t category,
                            ProfileHandle *profile, const char *format,
                            va_list arguments)
{
    (void)category;
    int saved_errno = errno;
    LineBuffer line;
    line_init(&line);
    va_list walk;
    va_copy(walk, arguments);
    build_line(&line, tag, number, format, &walk);
    va_end(walk);
    emit_line(profile, line.data, line.length);
    line_release(&line);
    errno = saved_errno;
    return 0;
}

KX_API int32_t log_message(const char *tag, int32_t number, uint32_t category,
                           const char *format, ...)
{
    if ((__atomic_load_n(&error_mask, __ATOMIC_RELAXED) & category) == 0)
        return 0;
    int saved_errno = errno;
    ProfileHandle *profile = open_registry();
    va_list arguments;
    va_start(arguments, format);
    _log_message(tag, number, category, profile, format, arguments);
    va_end(arguments);
    close_registry(profile);
    errno = saved_errno;
    return 0;
}

}  // extern "C"
