/*
 * registry.cpp - the profile store: settings read from and written to a
 * text file of sections and "key = value" lines.
 *
 * Exports default_config, open_registry, close_registry, set_config,
 * set_dsn, set_ini_function, registry_error, get_profile_string,
 * set_profile_string and get_default.
 *
 * The file is read in lines of at most 255 octets (fgets with a 256-octet
 * buffer: a longer line is handled as several lines) with the trailing
 * newline removed. A line opening with "{", "(" or "[" is a section header;
 * the bracket kind chosen by the caller's mode selects one of three name
 * spaces and the other kinds merely end a section. "#" opens a comment. A
 * key line is "key = value"; the key loses its trailing blanks, the value
 * its leading blanks, and an empty value counts as absent.
 *
 * Reading a setting is on a hot path (the trace log reads "log_file" for
 * every line), so parsed files are kept in a small process-wide cache,
 * guarded by a mutex and validated on every read with stat(): device, inode,
 * size, modification and change times (nanoseconds) and mode must all be
 * as they were when the file was read, otherwise the file is read again.
 * A file whose change or modification time lies within the timestamp
 * granularity of the moment it was read is never cached ("racily clean"),
 * so a same-size rewrite within one clock tick cannot hide behind equal
 * stamps. What remains undetectable is a rewrite that keeps size, inode and
 * both times equal: a wall clock set backwards, or a file system that does
 * not maintain change times. Failed opens are never cached, and files over
 * 1 MiB are always read line by line. The cached form answers exactly as the
 * line-by-line reader does (the tests compare the two); each cached file
 * also remembers its last few answers, so a repeated read costs one stat().
 *
 * Writing rewrites the file: the old contents are kept as path + "~", and
 * the new contents are written beside the file and renamed into place, so a
 * reader sees either the old or the new file, and a failure leaves the old
 * contents at the path. The file's permission bits are kept. A path that is
 * a symbolic link is written through: the file it leads to is rewritten,
 * with its backup and temporary file beside it, and the link stays. A
 * section, key or value holding a line break is refused before the file is
 * touched, since it would add lines of the caller's choosing. A path that
 * names a directory fails to open, for reading as for writing.
 */
#include "kxsupp/config.h"

#include "config/registry_internal.h"

#include <cctype>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <pthread.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

extern "C" KX_API const char default_config[] = "odbc.ini";

namespace {

constexpr int kLineBuffer = 256;          // fgets size: 255 octets a read
constexpr size_t kMaxLine = kLineBuffer - 1;
constexpr char kUnknownError[] = "Unknown error";
constexpr char kReaderFileName[] = "ODBC.INI";

struct Brackets {
    char open;
    char close;
};

// Mode 0 "{name}", mode 1 "(name)", any other mode "[name]".
Brackets brackets_for(int32_t mode)
{
    if (mode == 0)
        return {'{', '}'};
    if (mode == 1)
        return {'(', ')'};
    return {'[', ']'};
}

bool is_header_start(char c)
{
    return c == '[' || c == '{' || c == '(';
}

bool is_blank(char c)
{
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

void set_error(ProfileHandle *handle, const char *text)
{
    std::snprintf(handle->error, sizeof handle->error, "%s", text);
}

// Copies text into a fixed field, cutting what does not fit.
char *copy_field(char *field, size_t size, const char *text)
{
    size_t n = std::strlen(text);
    if (n >= size)
        n = size - 1;
    std::memmove(field, text, n);   // text may lie inside field
    field[n] = '\0';
    return field;
}

// The copy rule of both copies into the caller's buffer: characters go in
// while at least two octets of room remain; an overlong text is marked by a
// "0" in the last character, and the buffer is always terminated.
void copy_out(char *output, int32_t size, const char *text)
{
    if (size <= 0)
        return;
    int32_t room = size;
    size_t i = 0;
    while (text[i] != '\0' && room >= 2) {
        output[i] = text[i];
        i++;
        room--;
    }
    if (text[i] != '\0') {
        if (size >= 2)
            output[size - 2] = '0';
        output[size - 1] = '\0';
    } else {
        output[i] = '\0';
    }
}

void trim_output(char *output, int32_t size)
{
    if (size <= 0)
        return;
    size_t n = std::strlen(output);
    while (n > 0 && is_blank(output[n - 1]))
        output[--n] = '\0';
}

// Length of the next fgets read at pos: up to and including a newline, at
// most 255 octets.
size_t next_chunk(const char *data, size_t length, size_t pos)
{
    size_t end = pos;
    while (end < length && end - pos < kMaxLine) {
        if (data[end++] == '\n')
            break;
    }
    return end - pos;
}

// Makes a zero-terminated line of a chunk, without its trailing newline.
void chunk_to_line(char *line, const char *chunk, size_t n)
{
    std::memcpy(line, chunk, n);
    line[n] = '\0';
    size_t len = std::strlen(line);
    if (len > 0 && line[len - 1] == '\n')
        line[len - 1] = '\0';
}

// Splits a key line at its first "=": the key ends before its trailing
// blanks (written with a terminator), the value starts after its leading
// blanks. Returns false for a line without "=".
bool split_key_line(char *line, char **key, char **value)
{
    char *eq = std::strchr(line, '=');
    if (eq == nullptr)
        return false;
    char *end = eq;
    while (end > line && is_blank(end[-1]))
        end--;
    char *v = eq + 1;
    while (*v != '\0' && is_blank(*v))
        v++;
    *end = '\0';
    *key = line;
    *value = v;
    return true;
}

// a is text of the file (a section name or a key), never null; b is the
// caller's section or key, which may be.
bool same_name(const char *a, const char *b)
{
    return b != nullptr && strcasecmp(a, b) == 0;
}

/* ---- the line-by-line reader ---- */

// Scans the open file for key in section. Returns true with output filled
// when the key was found.
bool scan_stream(FILE *file, Brackets brackets, const char *section,
                 const char *key, char *output, int32_t output_size)
{
    char line[kLineBuffer];
    char current[kLineBuffer] = "";
    bool in_section = false;
    bool seen_section = false;
    while (std::fgets(line, sizeof line, file) != nullptr) {
        size_t len = std::strlen(line);
        if (len > 0 && line[len - 1] == '\n')
            line[--len] = '\0';
        if (line[0] == '#')
            continue;
        if (line[0] == brackets.open) {
            char *close = std::strchr(line + 1, brackets.close);
            if (close == nullptr)
                continue;
            if (seen_section)
                return false;
            *close = '\0';
            std::memcpy(current, line + 1, static_cast<size_t>(close - line));
            in_section = true;
            continue;
        }
        if (is_header_start(line[0])) {
            in_section = false;
            continue;
        }
        if (!in_section || !same_name(current, section))
            continue;
        seen_section = true;
        char *line_key;
        char *value;
        if (!split_key_line(line, &line_key, &value) || *value == '\0')
            continue;
        if (same_name(line_key, key)) {
            copy_out(output, output_size, value);
            trim_output(output, output_size);
            return true;
        }
    }
    return false;
}

/* ---- the cached form of a file ---- */

enum LineKind : unsigned char { kComment, kHeader, kOther };

struct ParsedLine {
    LineKind kind;
    char open;          // header: its opening bracket
    bool closed;        // header: has its closing bracket
    bool keyed;         // other: holds "=" and a nonempty value
    const char *name;   // header: text between the brackets
    const char *key;    // keyed: key without trailing blanks
    const char *value;  // keyed: value without leading blanks
};

struct FileImage {
    char *text;         // the lines, each zero-terminated
    ParsedLine *lines;
    size_t count;
};

void free_image(FileImage *image)
{
    if (image == nullptr)
        return;
    std::free(image->text);
    std::free(image->lines);
    std::free(image);
}

// Parses a whole file into lines exactly as the line-by-line reader sees
// them. Null when memory is exhausted.
FileImage *parse_image(const char *data, size_t length)
{
    size_t chunks = 0;
    for (size_t pos = 0; pos < length; chunks++)
        pos += next_chunk(data, length, pos);
    auto *image = static_cast<FileImage *>(std::calloc(1, sizeof(FileImage)));
    if (image == nullptr)
        return nullptr;
    image->text = static_cast<char *>(std::malloc(length + chunks + 1));
    image->lines = static_cast<ParsedLine *>(
        std::calloc(chunks == 0 ? 1 : chunks, sizeof(ParsedLine)));
    if (image->text == nullptr || image->lines == nullptr) {
        free_image(image);
        return nullptr;
    }
    char *out = image->text;
    size_t pos = 0;
    for (size_t i = 0; i < chunks; i++) {
        size_t n = next_chunk(data, length, pos);
        char *line = out;
        chunk_to_line(line, data + pos, n);
        pos += n;
        out += n + 1;
        ParsedLine &pl = image->lines[image->count++];
        if (line[0] == '#') {
            pl.kind = kComment;
        } else if (is_header_start(line[0])) {
            pl.kind = kHeader;
            pl.open = line[0];
            char close = line[0] == '[' ? ']' : line[0] == '{' ? '}' : ')';
            char *end = std::strchr(line + 1, close);
            pl.closed = end != nullptr;
            if (end != nullptr)
                *end = '\0';
            pl.name = line + 1;
        } else {
            pl.kind = kOther;
            char *key;
            char *value;
            if (split_key_line(line, &key, &value) && *value != '\0') {
                pl.keyed = true;
                pl.key = key;
                pl.value = value;
            }
        }
    }
    return image;
}

// The reader's walk over a parsed file; the found value or null.
const char *query_image(const FileImage *image, Brackets brackets,
                        const char *section, const char *key)
{
    bool in_section = false;
    bool matches = false;
    bool seen_section = false;
    for (size_t i = 0; i < image->count; i++) {
        const ParsedLine &pl = image->lines[i];
        if (pl.kind == kComment)
            continue;
        if (pl.kind == kHeader) {
            if (pl.open != brackets.open) {
                in_section = false;
            } else if (pl.closed) {
                if (seen_section)
                    return nullptr;
                in_section = true;
                matches = same_name(pl.name, section);
            }
            continue;
        }
        if (!in_section || !matches)
            continue;
        seen_section = true;
        if (pl.keyed && same_name(pl.key, key))
            return pl.value;
    }
    return nullptr;
}

/* ---- the cache ---- */

constexpr int kCacheSlots = 8;
constexpr off_t kMaxCachedSize = 1 << 20;

struct FileStamp {
    dev_t dev;
    ino_t ino;
    off_t size;
    struct timespec mtime;
    struct timespec ctime;
    mode_t mode;
};

// A remembered answer of one image: the walk's result for the exact
// arguments (the walk compares without case, so equal arguments give equal
// answers).
constexpr int kMemoSlots = 8;
constexpr size_t kMemoName = 64;

struct Memo {
    char open;                  // 0: unused
    char section[kMemoName];
    char key[kMemoName];
    const char *value;          // into the image, or null: not found
};

struct CacheSlot {
    char path[KX_PROFILE_PATH_SIZE];
    FileStamp stamp;
    FileImage *image;     // null: the slot is free
    unsigned long used;   // last use, for replacement
    Memo memo[kMemoSlots];
    int memo_next;        // the memo entry to fill next
};

bool fits_memo(const char *text)
{
    return text != nullptr && std::strlen(text) < kMemoName;
}

// The walk's answer through the slot's memo. Caller holds cache_mutex.
const char *query_slot(CacheSlot *slot, Brackets brackets, const char *section,
                       const char *key)
{
    bool memorable = fits_memo(section) && fits_memo(key);
    if (memorable) {
        for (const Memo &m : slot->memo)
            if (m.open == brackets.open && std::strcmp(m.section, section) == 0 &&
                std::strcmp(m.key, key) == 0)
                return m.value;
    }
    const char *value = query_image(slot->image, brackets, section, key);
    if (memorable) {
        Memo &m = slot->memo[slot->memo_next];
        slot->memo_next = (slot->memo_next + 1) % kMemoSlots;
        m.open = brackets.open;
        std::strcpy(m.section, section);
        std::strcpy(m.key, key);
        m.value = value;
    }
    return value;
}

// A plain POSIX mutex, so that the library needs no C++ runtime.
pthread_mutex_t cache_mutex = PTHREAD_MUTEX_INITIALIZER;

// Holds cache_mutex for the life of a scope.
class CacheLock {
public:
    CacheLock() { pthread_mutex_lock(&cache_mutex); }
    ~CacheLock() { pthread_mutex_unlock(&cache_mutex); }
    CacheLock(const CacheLock &) = delete;
    CacheLock &operator=(const CacheLock &) = delete;
};
CacheSlot cache[kCacheSlots];
unsigned long cache_clock;
unsigned long cache_hit_count;
std::atomic<bool> cache_enabled{true};

FileStamp stamp_of(const struct stat &st)
{
    return {st.st_dev, st.st_ino, st.st_size, st.st_mtim, st.st_ctim,
            st.st_mode};
}

bool same_time(const struct timespec &a, const struct timespec &b)
{
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

bool same_stamp(const FileStamp &a, const FileStamp &b)
{
    return a.dev == b.dev && a.ino == b.ino && a.size == b.size &&
           same_time(a.mtime, b.mtime) && same_time(a.ctime, b.ctime) &&
           a.mode == b.mode;
}

int64_t nanoseconds(const struct timespec &t)
{
    return static_cast<int64_t>(t.tv_sec) * 1000000000 + t.tv_nsec;
}

// True when a later change to the file could carry the same stamps as the
// ones it had when read at read_start: its times lie within the timestamp
// granularity of that moment (two seconds for a file system that keeps
// whole seconds only).
bool racily_clean(const FileStamp &stamp, const struct timespec &read_start)
{
    int64_t margin = 10 * 1000000LL;
    struct timespec res;
    if (clock_getres(CLOCK_REALTIME_COARSE, &res) == 0 &&
        2 * nanoseconds(res) > margin)
        margin = 2 * nanoseconds(res);
    if (stamp.mtime.tv_nsec == 0 && stamp.ctime.tv_nsec == 0)
        margin = 2000000000LL;
    int64_t limit = nanoseconds(read_start) - margin;
    return nanoseconds(stamp.mtime) >= limit ||
           nanoseconds(stamp.ctime) >= limit;
}

// Caller holds cache_mutex.
CacheSlot *find_slot(const char *path)
{
    for (CacheSlot &slot : cache)
        if (slot.image != nullptr && std::strcmp(slot.path, path) == 0)
            return &slot;
    return nullptr;
}

void forget_path(const char *path)
{
    CacheLock lock;
    CacheSlot *slot = find_slot(path);
    if (slot != nullptr) {
        free_image(slot->image);
        slot->image = nullptr;
    }
}

// Stores the image (the cache takes it over) or frees it.
void store_image(const char *path, const FileStamp &stamp, FileImage *image)
{
    CacheLock lock;
    CacheSlot *slot = find_slot(path);
    if (slot == nullptr) {
        slot = &cache[0];
        for (CacheSlot &s : cache) {
            if (s.image == nullptr) {
                slot = &s;
                break;
            }
            if (s.used < slot->used)
                slot = &s;
        }
    }
    free_image(slot->image);
    copy_field(slot->path, sizeof slot->path, path);
    slot->stamp = stamp;
    slot->image = image;
    slot->used = ++cache_clock;
    for (Memo &m : slot->memo)
        m.open = 0;
    slot->memo_next = 0;
}

// Reads all of an open descriptor. Null (errno set) on failure.
char *read_all(int fd, size_t expected, size_t *length)
{
    size_t capacity = expected + 1;
    char *data = static_cast<char *>(std::malloc(capacity));
    if (data == nullptr)
        return nullptr;
    size_t used = 0;
    for (;;) {
        if (used == capacity) {
            char *bigger = static_cast<char *>(std::realloc(data, capacity * 2));
            if (bigger == nullptr) {
                std::free(data);
                return nullptr;
            }
            data = bigger;
            capacity *= 2;
        }
        ssize_t got = ::read(fd, data + used, capacity - used);
        if (got < 0) {
            if (errno == EINTR)
                continue;
            std::free(data);
            return nullptr;
        }
        if (got == 0)
            break;
        used += static_cast<size_t>(got);
    }
    *length = used;
    return data;
}

enum class Lookup { kFound, kNotFound, kOpenFailed, kUncached };

// Answers from the cache, or reads and caches the file. kUncached sends the
// caller to the line-by-line reader (no cache, file too large or not a
// regular file, or memory exhausted); kOpenFailed leaves errno set.
Lookup cached_lookup(const char *path, Brackets brackets, const char *section,
                     const char *key, char *output, int32_t output_size)
{
    struct stat st;
    if (!cache_enabled || ::stat(path, &st) != 0 || !S_ISREG(st.st_mode) ||
        st.st_size > kMaxCachedSize)
        return Lookup::kUncached;
    FileStamp now = stamp_of(st);
    {
        CacheLock lock;
        CacheSlot *slot = find_slot(path);
        if (slot != nullptr && same_stamp(slot->stamp, now)) {
            slot->used = ++cache_clock;
            cache_hit_count++;
            const char *value = query_slot(slot, brackets, section, key);
            if (value == nullptr)
                return Lookup::kNotFound;
            copy_out(output, output_size, value);
            trim_output(output, output_size);
            return Lookup::kFound;
        }
    }

    struct timespec read_start;
    clock_gettime(CLOCK_REALTIME, &read_start);
    int fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        int saved = errno;
        forget_path(path);
        errno = saved;
        return Lookup::kOpenFailed;
    }
    struct stat before;
    struct stat after;
    if (::fstat(fd, &before) != 0 || !S_ISREG(before.st_mode) ||
        before.st_size > kMaxCachedSize) {
        ::close(fd);
        return Lookup::kUncached;
    }
    size_t length = 0;
    char *data = read_all(fd, static_cast<size_t>(before.st_size), &length);
    bool stable = data != nullptr && ::fstat(fd, &after) == 0 &&
                  same_stamp(stamp_of(before), stamp_of(after)) &&
                  static_cast<off_t>(length) == after.st_size;
    ::close(fd);
    if (data == nullptr)
        return Lookup::kUncached;
    FileImage *image = parse_image(data, length);
    std::free(data);
    if (image == nullptr)
        return Lookup::kUncached;

    Lookup result = Lookup::kNotFound;
    const char *value = query_image(image, brackets, section, key);
    if (value != nullptr) {
        copy_out(output, output_size, value);
        trim_output(output, output_size);
        result = Lookup::kFound;
    }
    FileStamp stamp = stamp_of(before);
    if (stable && !racily_clean(stamp, read_start)) {
        store_image(path, stamp, image);
    } else {
        forget_path(path);
        free_image(image);
    }
    return result;
}

/* ---- writing ---- */

using Text = kx::ProfileText;

// "key = value" and the line ending(s).
void append_setting(Text *text, const char *key, const char *value,
                    const char *ending)
{
    append_str(text, key != nullptr ? key : "");
    append_str(text, " = ");
    append_str(text, value);
    append_str(text, ending);
}

// The rewritten file: lines of the target section carry the new setting,
// and everything after the point where it was written is copied verbatim.
void rewrite(Text *out, const char *data, size_t length, Brackets brackets,
             const char *section, const char *key, const char *value)
{
    char line[kLineBuffer];
    char current[kLineBuffer] = "";
    bool in_section = false;
    bool in_target = false;
    bool done = false;
    size_t pos = 0;
    while (pos < length && !done) {
        size_t n = next_chunk(data, length, pos);
        chunk_to_line(line, data + pos, n);
        pos += n;
        if (line[0] == '#') {
            append_str(out, line);
            append_str(out, "\n");
            continue;
        }
        if (line[0] == brackets.open) {
            char *close = std::strchr(line + 1, brackets.close);
            if (close != nullptr) {
                *close = '\0';
                std::memcpy(current, line + 1,
                            static_cast<size_t>(close - line));
                in_section = true;
            }
            if (in_target) {
                append_setting(out, key, value, "\n\n");
                done = true;
            }
            char open[2] = {brackets.open, '\0'};
            char shut[3] = {brackets.close, '\n', '\0'};
            append_str(out, open);
            append_str(out, current);
            append_str(out, shut);
            continue;
        }
        if (is_header_start(line[0])) {
            in_section = false;
            if (in_target) {
                append_setting(out, key, value, "\n\n");
                done = true;
            }
            append_str(out, line);
            append_str(out, "\n");
            continue;
        }
        if (!in_section || !same_name(current, section))
            continue;
        in_target = true;
        char *line_key;
        char *line_value;
        if (!split_key_line(line, &line_key, &line_value)) {
            append_str(out, line);
            append_str(out, "\n");
            continue;
        }
        if (same_name(line_key, key)) {
            line_value = const_cast<char *>(value);
            done = true;
        }
        append_setting(out, line_key, line_value, "\n");
    }
    if (done)
        append(out, data + pos, length - pos);
    else if (in_target)
        append_setting(out, key, value, "\n");
}

enum class WriteStage { kNone, kCreate, kWrite, kRename };

// Writes data to a new file beside target and renames it into place (synced
// first when durable); the failing stage and errno are left for the message.
// The temporary name goes to temp_name.
WriteStage replace_file(const char *target, const char *data, size_t length,
                        mode_t mode, bool durable, char *temp_name,
                        size_t temp_size)
{
    int n = std::snprintf(temp_name, temp_size, "%s.XXXXXX", target);
    if (n < 0 || static_cast<size_t>(n) >= temp_size) {
        errno = ENAMETOOLONG;
        return WriteStage::kCreate;
    }
    int fd = ::mkostemp(temp_name, O_CLOEXEC);
    if (fd < 0)
        return WriteStage::kCreate;
    WriteStage stage = WriteStage::kNone;
    ::fchmod(fd, mode & 07777);
    size_t done = 0;
    while (done < length) {
        ssize_t put = ::write(fd, data + done, length - done);
        if (put < 0) {
            if (errno == EINTR)
                continue;
            stage = WriteStage::kWrite;
            break;
        }
        done += static_cast<size_t>(put);
    }
    if (stage == WriteStage::kNone && durable && ::fsync(fd) != 0)
        stage = WriteStage::kWrite;
    if (::close(fd) != 0 && stage == WriteStage::kNone)
        stage = WriteStage::kWrite;
    if (stage == WriteStage::kNone && ::rename(temp_name, target) != 0)
        stage = WriteStage::kRename;
    if (stage != WriteStage::kNone) {
        int saved = errno;
        ::unlink(temp_name);
        errno = saved;
    }
    return stage;
}

// Gives the file a second name, path + "~", as renaming it to its backup
// would, while the file stays at its path. Returns false with errno set.
bool link_backup(const char *path, const char *backup, char *temp_name,
                 size_t temp_size)
{
    int n = std::snprintf(temp_name, temp_size, "%s.XXXXXX", backup);
    if (n < 0 || static_cast<size_t>(n) >= temp_size) {
        errno = ENAMETOOLONG;
        return false;
    }
    int fd = ::mkostemp(temp_name, O_CLOEXEC);
    if (fd < 0)
        return false;
    ::close(fd);
    ::unlink(temp_name);
    if (::link(path, temp_name) != 0)
        return false;
    if (::rename(temp_name, backup) != 0) {
        int saved = errno;
        ::unlink(temp_name);
        errno = saved;
        return false;
    }
    return true;
}

void post_errno(ProfileHandle *handle, const char *format, const char *a,
                const char *b, int error)
{
    // A message longer than the field is cut.
    int n = b != nullptr ? std::snprintf(handle->error, sizeof handle->error,
                                         format, a, b, std::strerror(error))
                         : std::snprintf(handle->error, sizeof handle->error,
                                         format, a, std::strerror(error));
    if (n < 0)
        set_error(handle, kUnknownError);
}

bool holds_line_break(const char *text)
{
    return text != nullptr && std::strpbrk(text, "\r\n") != nullptr;
}

// Which of a setting's texts holds a line break ("section", "key" or
// "value"), or null. Written out, such a text would add lines of the
// caller's choosing to the file (a "Driver =" line in a data source).
const char *field_with_line_break(const char *section, const char *key,
                                  const char *value)
{
    if (holds_line_break(section))
        return "section";
    if (holds_line_break(key))
        return "key";
    if (holds_line_break(value))
        return "value";
    return nullptr;
}

// The directory part of path ("." for a bare name) into out.
void directory_of(const char *path, char *out, size_t size)
{
    const char *slash = std::strrchr(path, '/');
    if (slash == nullptr) {
        copy_field(out, size, ".");
    } else if (slash == path) {
        copy_field(out, size, "/");
    } else {
        size_t n = static_cast<size_t>(slash - path);
        if (n >= size)
            n = size - 1;
        std::memcpy(out, path, n);
        out[n] = '\0';
    }
}

// A link's text made a path: an absolute text as it is, a relative one
// taken from the directory the link lies in. False when it does not fit.
bool link_target(const char *link, const char *text, char *out, size_t size)
{
    int n;
    if (text[0] == '/') {
        n = std::snprintf(out, size, "%s", text);
    } else {
        char directory[PATH_MAX];
        directory_of(link, directory, sizeof directory);
        n = std::snprintf(out, size, "%s/%s", directory, text);
    }
    return n >= 0 && static_cast<size_t>(n) < size;
}

// The file a dangling chain of links ends at: the links are followed to the
// first name that does not exist, whose directory must exist. False when
// there is no such name (a loop, a missing directory, an unreadable link).
bool resolve_dangling(const char *path, char *out, size_t size)
{
    constexpr int kMaxLinks = 40;   // as the kernel's own limit
    char current[PATH_MAX];
    copy_field(current, sizeof current, path);
    for (int hop = 0; hop <= kMaxLinks; hop++) {
        struct stat st;
        if (::lstat(current, &st) != 0) {
            if (errno != ENOENT)
                return false;
            char directory[PATH_MAX];
            char real_directory[PATH_MAX];
            directory_of(current, directory, sizeof directory);
            if (::realpath(directory, real_directory) == nullptr)
                return false;
            const char *slash = std::strrchr(current, '/');
            const char *name = slash != nullptr ? slash + 1 : current;
            const char *separator =
                std::strcmp(real_directory, "/") == 0 ? "" : "/";
            int n = std::snprintf(out, size, "%s%s%s", real_directory,
                                  separator, name);
            return n >= 0 && static_cast<size_t>(n) < size;
        }
        if (!S_ISLNK(st.st_mode))
            return false;
        char text[PATH_MAX];
        ssize_t got = ::readlink(current, text, sizeof text - 1);
        if (got < 0)
            return false;
        text[got] = '\0';
        char next[PATH_MAX];
        if (!link_target(current, text, next, sizeof next))
            return false;
        copy_field(current, sizeof current, next);
    }
    return false;
}

// The file a write goes to: the path itself, or, when the path is a
// symbolic link (a ~/.odbc.ini kept elsewhere), the file the link leads to,
// so that the link stays a link and the backup and the temporary file lie
// beside that file (the final rename stays on one file system). A dangling
// link gives the file it names when that file's directory exists; a link
// that leads nowhere leaves the path as it is, and the write fails on it.
void write_target(const char *path, char *out, size_t size)
{
    struct stat st;
    copy_field(out, size, path);
    if (::lstat(path, &st) != 0 || !S_ISLNK(st.st_mode))
        return;
    char resolved[PATH_MAX];
    if (::realpath(path, resolved) != nullptr) {
        copy_field(out, size, resolved);
        return;
    }
    if (!resolve_dangling(path, resolved, sizeof resolved))
        return;
    copy_field(out, size, resolved);
}

}  // namespace

namespace kx {

void profile_cache_enable(bool on)
{
    cache_enabled = on;
}

void profile_cache_clear()
{
    CacheLock lock;
    for (CacheSlot &slot : cache) {
        free_image(slot.image);
        slot.image = nullptr;
    }
}

unsigned long profile_cache_hits()
{
    CacheLock lock;
    return cache_hit_count;
}

void profile_forget(const char *path)
{
    forget_path(path);
}

void profile_write_target(const char *path, char *out, size_t size)
{
    write_target(path, out, size);
}

}  // namespace kx

extern "C" {

KX_API ProfileHandle *open_registry(void)
{
    auto *handle = static_cast<ProfileHandle *>(std::calloc(1, sizeof(ProfileHandle)));
    if (handle == nullptr)
        return nullptr;
    copy_field(handle->path, sizeof handle->path, default_config);
    set_error(handle, kUnknownError);
    return handle;
}

KX_API void close_registry(ProfileHandle *handle)
{
    std::free(handle);
}

KX_API char *set_config(ProfileHandle *handle, const char *path)
{
    if (handle == nullptr)
        return nullptr;
    if (path != nullptr)
        copy_field(handle->path, sizeof handle->path, path);
    return handle->path;
}

KX_API char *set_dsn(ProfileHandle *handle, const char *name)
{
    if (handle == nullptr)
        return nullptr;
    return copy_field(handle->dsn, sizeof handle->dsn, name != nullptr ? name : "");
}

KX_API void set_ini_function(ProfileHandle *handle, ProfileReader reader)
{
    if (handle != nullptr)
        handle->reader = reader;
}

KX_API char *registry_error(ProfileHandle *handle)
{
    return handle == nullptr ? nullptr : handle->error;
}

KX_API int32_t get_profile_string(ProfileHandle *handle, int32_t mode,
                                  const char *section, const char *key,
                                  const char *default_value, char *output,
                                  int32_t output_size)
{
    if (output == nullptr)
        return -1;
    if (handle == nullptr) {
        copy_out(output, output_size, default_value != nullptr ? default_value : "");
        return -1;
    }
    set_error(handle, kUnknownError);
    if (mode != 0 && mode != 1 && handle->reader != nullptr) {
        handle->reader(section, key, default_value, output, output_size,
                       kReaderFileName);
        return 0;
    }
    Brackets brackets = brackets_for(mode);
    copy_out(output, output_size, default_value != nullptr ? default_value : "");

    switch (cached_lookup(handle->path, brackets, section, key, output,
                          output_size)) {
    case Lookup::kFound:
    case Lookup::kNotFound:
        return 0;
    case Lookup::kOpenFailed:
        post_errno(handle, "Failed to open %s for input, %s", handle->path,
                   nullptr, errno);
        return -1;
    case Lookup::kUncached:
        break;
    }

    FILE *file = std::fopen(handle->path, "r");
    if (file == nullptr) {
        int error = errno;
        forget_path(handle->path);
        post_errno(handle, "Failed to open %s for input, %s", handle->path,
                   nullptr, error);
        return -1;
    }
    // A directory opens for reading, but has no lines to give.
    struct stat st;
    if (::fstat(fileno(file), &st) == 0 && S_ISDIR(st.st_mode)) {
        std::fclose(file);
        forget_path(handle->path);
        post_errno(handle, "Failed to open %s for input, %s", handle->path,
                   nullptr, EISDIR);
        return -1;
    }
    scan_stream(file, brackets, section, key, output, output_size);
    std::fclose(file);
    return 0;
}

KX_API int32_t set_profile_string(ProfileHandle *handle, int32_t mode,
                                  const char *section, const char *key,
                                  const char *value)
{
    if (handle == nullptr)
        return -1;
    set_error(handle, kUnknownError);
    const char *broken = field_with_line_break(section, key, value);
    if (broken != nullptr) {
        std::snprintf(handle->error, sizeof handle->error,
                      "Refused to write to %s, the %s holds a line break",
                      handle->path, broken);
        return -1;
    }
    Brackets brackets = brackets_for(mode);
    char path[PATH_MAX];
    write_target(handle->path, path, sizeof path);
    char backup[PATH_MAX + 2];
    std::snprintf(backup, sizeof backup, "%s~", path);
    char temp[PATH_MAX + 32];

    // The old contents. A file that is not there cannot be moved to the
    // backup. One that is there but cannot be read gets its backup name all
    // the same and then fails as the backup's input, as a rename to the
    // backup followed by opening the backup would; it keeps its contents.
    int fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        int error = errno;
        struct stat st;
        if (::stat(path, &st) != 0 ||
            !link_backup(path, backup, temp, sizeof temp))
            post_errno(handle, "Failed to rename %s to %s, %s", path, backup, errno);
        else
            post_errno(handle, "Failed to open %s for input, %s", backup, nullptr, error);
        return -1;
    }
    struct stat st;
    size_t length = 0;
    char *old_data = nullptr;
    if (::fstat(fd, &st) == 0)
        old_data = read_all(fd, static_cast<size_t>(st.st_size), &length);
    int read_error = errno;
    ::close(fd);
    if (old_data == nullptr) {
        post_errno(handle, "Failed to open %s for input, %s", path, nullptr, read_error);
        return -1;
    }

    // The backup: a copy of the old contents at path + "~".
    if (replace_file(backup, old_data, length, st.st_mode, false, temp,
                     sizeof temp) !=
        WriteStage::kNone) {
        post_errno(handle, "Failed to rename %s to %s, %s", path, backup, errno);
        std::free(old_data);
        return -1;
    }

    Text out;
    rewrite(&out, old_data, length, brackets, section, key,
            value != nullptr ? value : "");
    std::free(old_data);
    if (out.failed) {
        std::free(out.data);
        post_errno(handle, "Failed to open %s for output, %s", path, nullptr, ENOMEM);
        return -1;
    }
    WriteStage stage = replace_file(path, out.data != nullptr ? out.data : "",
                                    out.length, st.st_mode, true, temp, sizeof temp);
    int error = errno;
    std::free(out.data);
    forget_path(path);
    forget_path(handle->path);
    // Putting the new contents in place is creating the file anew: any
    // failure there, the final rename included, is the output message on
    // the file's own path (the temporary name never reaches the caller).
    if (stage != WriteStage::kNone) {
        post_errno(handle, "Failed to open %s for output, %s", path, nullptr, error);
        return -1;
    }
    return 0;
}

KX_API char *get_default(ProfileHandle *handle, const char *key, char *output,
                         int32_t output_size)
{
    if (handle != nullptr && handle->dsn[0] != '\0')
        get_profile_string(handle, 2, handle->dsn, key, "", output, output_size);
    else
        get_profile_string(handle, 0, "default", key, "", output, output_size);
    return output;
}

}  // extern "C"
