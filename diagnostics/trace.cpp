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
 * profile, or to standard error when the setting is empty or the file
 * cannot be opened. The whole line is built in memory first and then
 * appended with a single write() on a descriptor opened with O_APPEND, so
 * lines written by several threads or processes at once never interleave
 * inside a line.
 *
 * Each line goes exactly where reading the profile and opening the log
 * anew for that line would send it: a changed "log_file" takes effect at
 * the next line, as does a change of the current directory for relative
 * paths; a log removed, renamed away, replaced, or whose owner or
 * permission bits changed is closed and opened anew by name. Doing that
 * look-up for every line was most of a line's cost, so the log's descriptor
 * is kept open between lines and an inotify instance tells when anything
 * the look-up depends on may have changed (see "Knowing cheaply that
 * nothing changed" below); only then is the look-up done again. The
 * error_mask switch may be flipped by any thread while others trace: it is
 * read with an atomic load.
 */
#include "kxsupp/config.h"
#include "kxsupp/diagnostics.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <pthread.h>
#include <string.h>
#include <limits.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
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

/* Appends a pointer as the C library's "%p" writes it: "(nil)" for null,
   else "0x" and lowercase hexadecimal digits without leading zeros. */
void line_pointer(LineBuffer *line, const void *pointer)
{
    if (pointer == nullptr) {
        line_append(line, "(nil)", 5);
        return;
    }
    char item[2 + 2 * sizeof(uintptr_t)];
    char *end = item + sizeof item;
    char *p = end;
    uintptr_t value = reinterpret_cast<uintptr_t>(pointer);
    do {
        *--p = "0123456789abcdef"[value & 15];
        value >>= 4;
    } while (value != 0);
    *--p = 'x';
    *--p = '0';
    line_append(line, p, static_cast<size_t>(end - p));
}

/* Appends "pointer->value" for a pointer to an int. */
void line_pointer_to_int(LineBuffer *line, const void *pointer, int32_t value)
{
    line_pointer(line, pointer);
    line_append(line, "->", 2);
    line_decimal(line, value, 0);
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
        if (length == nullptr) {
            line_puts(line, "<NULLSTR>{NULL}");
        } else {
            line_puts(line, "<NULLSTR>{");
            line_pointer_to_int(line, length, *length);
            line_putc(line, '}');
        }
        return;
    }
    if (length == nullptr) {
        line_quoted(line, text, -1);
        line_puts(line, "{NULL}");
        return;
    }
    line_quoted(line, text, *length);
    line_putc(line, '{');
    line_pointer_to_int(line, length, *length);
    line_putc(line, '}');
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
                line_pointer_to_int(line, value, *value);
        } else if (second == 'h') {
            void *const *value = va_arg(*arguments, void *const *);
            if (value == nullptr)
                line_puts(line, "<NULLPTR>");
            else {
                line_pointer(line, value);
                line_append(line, "->", 2);
                line_pointer(line, *value);
            }
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
        line_pointer(line, va_arg(*arguments, void *));
        break;
    case 's': {
        const char *text = va_arg(*arguments, const char *);
        if (text == nullptr) {
            line_puts(line, "<NULLPTR>");
        } else {
            line_pointer(line, text);
            line_append(line, "->", 2);
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

int current_pid();

/* Builds the whole line: header, padding, ":", the formatted text and the
   newline. */
void build_line(LineBuffer *line, const char *tag, int32_t number,
                const char *format, va_list *arguments)
{
    line_putc(line, '[');
    line_decimal(line, current_pid(), 0);
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

/* The process id of the header. getpid() is a system call in current C
   libraries, so the id is kept; the fork handlers below are installed
   before it is first kept, and a forked child forgets it. 0: not known. */
pid_t kept_pid;

int current_pid()
{
    pid_t pid = __atomic_load_n(&kept_pid, __ATOMIC_RELAXED);
    if (pid == 0) {
        pid = getpid();
        __atomic_store_n(&kept_pid, pid, __ATOMIC_RELAXED);
    }
    return static_cast<int>(pid);
}

void forget_watches();

/* A child forked while another thread wrote a line must not inherit the
   mutex locked: it is taken around fork(). The child also forgets the
   parent's id and its watches: the inotify instance is shared with the
   parent, and events read by one would be lost to the other. */
void lock_open_log() { pthread_mutex_lock(&open_log_mutex); }
void unlock_open_log() { pthread_mutex_unlock(&open_log_mutex); }
void unlock_open_log_in_child()
{
    __atomic_store_n(&kept_pid, 0, __ATOMIC_RELAXED);
    forget_watches();
    pthread_mutex_unlock(&open_log_mutex);
}
pthread_once_t fork_handlers_once = PTHREAD_ONCE_INIT;
void install_fork_handlers()
{
    pthread_atfork(lock_open_log, unlock_open_log, unlock_open_log_in_child);
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

/*
 * Knowing cheaply that nothing changed. A line needs the "log_file" setting
 * and the assurance that the kept log still is the file its name names.
 * Looking both up for every line (a stat of the profile, one of the log)
 * cost more than the write itself. Instead an inotify instance watches
 * every directory that the two paths walk through, for entries named as
 * the path's next component, the profile itself (contents, owner, mode,
 * links) and the log (owner, mode, links). While the instance holds no
 * event about those names, and the current directory is still the one that
 * relative paths were resolved against, the setting and the log are as
 * they were. Any such event, an overflowing event queue, another profile
 * path, a fork or a failed write sends the line through the full look-up,
 * which sets the watches up anew. Paths through symbolic links, profiles
 * that are not regular files and logs that could not be opened are looked
 * up in full for every line, as are paths the kernel refuses to watch.
 * Guarded by open_log_mutex.
 */
constexpr int kMaxWatches = 64;

constexpr uint32_t kDirectoryEvents = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO |
                                      IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
constexpr uint32_t kProfileEvents = IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB | IN_DELETE_SELF |
                                    IN_MOVE_SELF;
/* Not IN_MODIFY: the lines' own writes would count. */
constexpr uint32_t kLogEvents = IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF;

struct Watch {
    int wd;
    bool whole_file;      /* every event counts */
    char name[NAME_MAX + 1]; /* a directory: events about this entry count */
};

struct Watcher {
    int fd;               /* the inotify instance, -1 when none */
    bool valid;           /* the watches cover the setting and the log */
    bool unwatchable;     /* these paths could not be watched */
    bool cwd_matters;     /* a relative path is watched */
    char cwd[PATH_MAX];
    char profile_path[KX_PROFILE_PATH_SIZE];
    char log_file[kLogFileSize];
    int count;
    Watch watches[kMaxWatches];
};

Watcher watcher = {-1, false, false, false, {}, {}, {}, 0, {}};

void forget_watches()
{
    if (watcher.fd >= 0)
        close(watcher.fd);
    watcher.fd = -1;
    watcher.valid = false;
    watcher.unwatchable = false;
    watcher.count = 0;
}

bool add_watch(const char *path, uint32_t events, const char *name, size_t name_length)
{
    if (watcher.count == kMaxWatches)
        return false;
    int wd = inotify_add_watch(watcher.fd, path, events | IN_DONT_FOLLOW | IN_MASK_ADD);
    if (wd < 0)
        return false;
    Watch &w = watcher.watches[watcher.count++];
    w.wd = wd;
    w.whole_file = name == nullptr;
    memcpy(w.name, name != nullptr ? name : "", name_length);
    w.name[name_length] = '\0';
    return true;
}

/* Watches the directories that path walks through, each for the entry of
   the next component, and the regular file at its end when there is one
   (a missing entry's creation is watched for in its directory). False
   when the path cannot be watched: a component is a symbolic link, a
   non-directory before the end or not a regular file at it, or the kernel
   refuses a watch. */
bool watch_path(const char *path, uint32_t file_events)
{
    char walked[PATH_MAX];
    size_t length = strlen(path);
    if (length == 0 || length >= sizeof walked)
        return false;
    size_t i = 0;
    size_t used;
    if (path[0] == '/') {
        strcpy(walked, "/");
        used = 1;
    } else {
        strcpy(walked, ".");
        used = 0; /* the first component replaces "." */
        watcher.cwd_matters = true;
    }
    for (;;) {
        while (path[i] == '/')
            ++i;
        if (path[i] == '\0')
            return false; /* a path ending in "/" names a directory */
        size_t end = i;
        while (path[end] != '\0' && path[end] != '/')
            ++end;
        size_t name_length = end - i;
        if (name_length > NAME_MAX || !add_watch(walked, kDirectoryEvents, path + i, name_length))
            return false;
        if (used > 1 || (used == 1 && walked[0] != '/'))
            walked[used++] = '/';
        memcpy(walked + used, path + i, name_length);
        used += name_length;
        walked[used] = '\0';
        struct stat st;
        if (fstatat(AT_FDCWD, walked, &st, AT_SYMLINK_NOFOLLOW) != 0)
            return errno == ENOENT;
        if (path[end] == '\0') {
            return S_ISREG(st.st_mode) && add_watch(walked, file_events, nullptr, 0);
        }
        if (!S_ISDIR(st.st_mode))
            return false;
        i = end;
    }
}

/* True when the event may change the setting or the log. */
bool event_matters(const struct inotify_event *event)
{
    if (event->mask & IN_Q_OVERFLOW)
        return true;
    for (int n = 0; n < watcher.count; ++n) {
        const Watch &w = watcher.watches[n];
        if (w.wd != event->wd)
            continue;
        if (w.whole_file || (event->mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED |
                                            IN_UNMOUNT)) != 0)
            return true;
        if (event->len > 0 && strcmp(event->name, w.name) == 0)
            return true;
    }
    return false;
}

/* Reads every pending event; true when one of them matters. */
bool pending_events_matter()
{
    alignas(struct inotify_event) char buffer[4096];
    bool matters = false;
    for (;;) {
        ssize_t got = read(watcher.fd, buffer, sizeof buffer);
        if (got <= 0)
            return matters || !(got < 0 && errno == EAGAIN);
        for (ssize_t at = 0; at < got;) {
            const auto *event = reinterpret_cast<const struct inotify_event *>(buffer + at);
            matters = matters || event_matters(event);
            at += static_cast<ssize_t>(sizeof(struct inotify_event) + event->len);
        }
    }
}

/* True when the setting read for profile_path, and the kept log, still
   hold: the watches are in place, the current directory is the same, and
   no event about the watched names has come. */
bool nothing_changed(const char *profile_path)
{
    if (!watcher.valid || strcmp(profile_path, watcher.profile_path) != 0)
        return false;
    if (watcher.cwd_matters) {
        char cwd[PATH_MAX];
        if (getcwd(cwd, sizeof cwd) == nullptr || strcmp(cwd, watcher.cwd) != 0)
            return false;
    }
    int pending = 0;
    if (ioctl(watcher.fd, FIONREAD, &pending) != 0)
        return false;
    return pending == 0 || !pending_events_matter();
}

/* Reads "log_file" from the profile: the caller's, or the default one when
   profile is null. False (the setting empty) when no handle could be had
   for the default profile. */
bool read_log_setting(ProfileHandle *profile, char *log_file)
{
    memset(log_file, 0, kLogFileSize);
    ProfileHandle *own = profile == nullptr ? open_registry() : nullptr;
    ProfileHandle *from = profile != nullptr ? profile : own;
    if (from == nullptr)
        return false;
    get_profile_string(from, 0, kSettingsSection, kLogFileKey, "", log_file, kLogFileSize);
    log_file[kLogFileSize - 1] = '\0';
    close_registry(own);
    return true;
}

/* Makes the kept log the file log_file names; false when the line goes to
   standard error (no setting, or the log cannot be opened). */
bool make_log_current(const char *log_file)
{
    if (log_file[0] == '\0') {
        close_open_log();
        return false;
    }
    return open_log_is_current(log_file) || reopen_log(log_file);
}

/* Sets up a new inotify instance watching the profile's path and the
   log's (when there is a setting). */
bool set_up_watches(const char *profile_path, const char *log_file)
{
    watcher.fd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    return watcher.fd >= 0 && watch_path(profile_path, kProfileEvents) &&
           (log_file[0] == '\0' || watch_path(log_file, kLogEvents));
}

/* The full look-up: reads the setting into watcher.log_file and makes the
   kept log current, then sets the watches up anew. The look-up comes first,
   so that the line needs no more descriptors than without watches (with
   one free descriptor, the profile and the log still open). Whatever
   changed before the watches were in place is caught by looking up once
   more after; whatever changes after shows as an event. When the paths
   cannot be watched (or the log cannot be opened), the same profile,
   directory and setting next time go through the look-up without trying
   again. False when the line goes to standard error. */
bool look_up_log(ProfileHandle *profile, const char *profile_path)
{
    char cwd[PATH_MAX];
    if (getcwd(cwd, sizeof cwd) == nullptr)
        cwd[0] = '\0';
    char log_file[kLogFileSize];
    bool read = read_log_setting(profile, log_file);
    bool to_log = make_log_current(log_file);
    bool tried_before = watcher.unwatchable && strcmp(profile_path, watcher.profile_path) == 0 &&
                        strcmp(cwd, watcher.cwd) == 0 && strcmp(log_file, watcher.log_file) == 0;
    forget_watches();
    snprintf(watcher.profile_path, sizeof watcher.profile_path, "%s", profile_path);
    memcpy(watcher.cwd, cwd, sizeof cwd);
    memcpy(watcher.log_file, log_file, sizeof log_file);
    watcher.cwd_matters = false;
    if (!read || tried_before) {
        watcher.unwatchable = read;
        return to_log;
    }
    char again[kLogFileSize];
    bool watched = cwd[0] != '\0' && (to_log || log_file[0] == '\0') &&
                   set_up_watches(profile_path, log_file) && read_log_setting(profile, again) &&
                   strcmp(again, log_file) == 0 && (!to_log || open_log_is_current(log_file));
    if (watched) {
        watcher.valid = true;
    } else {
        if (watcher.fd >= 0)
            close(watcher.fd);
        watcher.fd = -1;
        watcher.unwatchable = true;
    }
    return to_log;
}

/* Appends the line to the log file named in the profile (the caller's, or
   the default one when default_profile is set), or to standard error. */
void emit_line(ProfileHandle *profile, bool default_profile, const char *data, size_t count)
{
    const char *profile_path = default_profile ? default_config
                               : profile != nullptr ? profile->path
                                                    : nullptr;
    pthread_mutex_lock(&open_log_mutex);
    bool to_log;
    if (profile_path == nullptr) {
        to_log = false;
    } else if (nothing_changed(profile_path)) {
        to_log = watcher.log_file[0] != '\0';
    } else {
        to_log = look_up_log(profile, profile_path);
    }
    /* A descriptor closed behind the library's back (a daemon closing all
       its descriptors) is opened anew and the line written once more. */
    if (to_log && !write_all(open_log.fd, data, count) && errno == EBADF) {
        open_log.fd = -1;
        forget_watches();
        if (reopen_log(watcher.log_file))
            write_all(open_log.fd, data, count);
    }
    pthread_mutex_unlock(&open_log_mutex);
    if (!to_log)
        write_all(STDERR_FILENO, data, count);
}

/* One line: built in memory, then written. */
void trace_line(const char *tag, int32_t number, ProfileHandle *profile,
                bool default_profile, const char *format, va_list arguments)
{
    pthread_once(&fork_handlers_once, install_fork_handlers);
    LineBuffer line;
    line_init(&line);
    va_list walk;
    va_copy(walk, arguments);
    build_line(&line, tag, number, format, &walk);
    va_end(walk);
    emit_line(profile, default_profile, line.data, line.length);
    line_release(&line);
}

}  // namespace

extern "C" {

KX_API int32_t _log_message(const char *tag, int32_t number, uint32_t category,
                            ProfileHandle *profile, const char *format,
                            va_list arguments)
{
    (void)category;
    int saved_errno = errno;
    trace_line(tag, number, profile, false, format, arguments);
    errno = saved_errno;
    return 0;
}

KX_API int32_t log_message(const char *tag, int32_t number, uint32_t category,
                           const char *format, ...)
{
    if ((__atomic_load_n(&error_mask, __ATOMIC_RELAXED) & category) == 0)
        return 0;
    int saved_errno = errno;
    va_list arguments;
    va_start(arguments, format);
    trace_line(tag, number, nullptr, true, format, arguments);
    va_end(arguments);
    errno = saved_errno;
    return 0;
}

}  // extern "C"
