/*
 * registry_std.cpp - the profile store of the standard family.
 *
 * Exports kxstd_get_profile_string, kxstd_get_default and
 * kxstd_set_profile_string.
 *
 * Reading goes through the family's reader (get_profile_string, with its
 * cache) and differs only in what reaches the caller's buffer: a value or
 * default that does not fit is cut to output_size - 1 characters and
 * terminated, and the result is the number of characters copied, as
 * SQLGetPrivateProfileString gives them.
 *
 * Writing edits the file as SQLWritePrivateProfileString does: the one line
 * that holds the key is rewritten (or a line added, or lines removed) and
 * every other octet of the file stays as it was, other sections, comments,
 * blank lines, line endings and order included. The file is read whole,
 * edited in memory, written to a new file beside it (same directory, so the
 * rename stays on one file system) with the old file's permission bits and,
 * where allowed, its owner, synced and renamed into place: a reader sees the
 * old file or the new one, never a part. A missing file is created; a
 * symbolic link is written through, as the family's writer does.
 *
 * The file is seen as the family's reader sees it: a line opening with the
 * bracket of the caller's mode and holding its closing bracket starts a
 * section, a line opening with another bracket ends one, "#" opens a
 * comment, and a key line is "key = value" split at its first "=" (the key
 * without its trailing blanks). So what is written is what the reader then
 * finds: a setting goes to the section of its name that the reader reads,
 * a key already there is rewritten in the line the reader would take it
 * from.
 */
#include "kxsupp/config.h"
#include "kxsupp/standard.h"

#include "config/registry_internal.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char kUnknownError[] = "Unknown error";

// The family reads a line 255 octets at a time, so no value it gives back
// is longer; the room below holds any of them with the terminator.
constexpr int32_t kValueRoom = 512;
constexpr size_t kMaxLine = 255;

// A profile file larger than this is refused rather than read whole.
constexpr size_t kMaxFile = size_t{64} << 20;

constexpr int kCreateAttempts = 16;
unsigned temp_counter = 0;

struct Brackets {
    char open;
    char close;
};

Brackets brackets_for(int32_t mode)
{
    if (mode == 0)
        return {'{', '}'};
    if (mode == 1)
        return {'(', ')'};
    return {'[', ']'};
}

bool is_blank(char c)
{
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

bool is_header_start(char c)
{
    return c == '[' || c == '{' || c == '(';
}

void set_error(ProfileHandle *handle, const char *text)
{
    std::snprintf(handle->error, sizeof handle->error, "%s", text);
}

// A message longer than the field is cut.
void post_errno(ProfileHandle *handle, const char *format, const char *path, int error)
{
    int n = std::snprintf(handle->error, sizeof handle->error, format, path,
                          std::strerror(error));
    if (n < 0)
        set_error(handle, kUnknownError);
}

// Copies text into the caller's buffer, cut to size - 1 characters and
// terminated; the number of characters copied. Nothing is written for a
// size below 1. text may lie inside output.
int32_t copy_cut(char *output, int32_t size, const char *text)
{
    if (output == nullptr || size <= 0)
        return 0;
    size_t n = strnlen(text, static_cast<size_t>(size) - 1);
    std::memmove(output, text, n);
    output[n] = '\0';
    return static_cast<int32_t>(n);
}

/* ---- the file as lines ---- */

// One line of the file: its octets without the line ending, and the ending
// it had ("\r\n", "\n", or none on a last line).
struct Line {
    const char *text;
    size_t length;   // without "\r" and "\n"
    bool cr;
    bool nl;
};

// The next line of data at *pos, which moves past it.
Line next_line(const char *data, size_t size, size_t *pos)
{
    Line line{};
    const char *start = data + *pos;
    const void *nl = std::memchr(start, '\n', size - *pos);
    size_t n = nl != nullptr ? static_cast<size_t>(static_cast<const char *>(nl) - start)
                             : size - *pos;
    *pos += n + (nl != nullptr ? 1 : 0);
    line.nl = nl != nullptr;
    if (n > 0 && start[n - 1] == '\r') {
        line.cr = true;
        n--;
    }
    line.text = start;
    line.length = n;
    return line;
}

// kIgnored: a header of the mode's kind without its closing bracket, which
// the reader passes over; kOther: any other line of a section (a blank line
// too), which marks the section as one with lines for the reader.
enum class LineKind { kComment, kSectionStart, kSectionEnd, kIgnored, kKey, kOther };

// A line as the reader sees it (up to its first zero octet, as the reader's
// string functions do). For a section start, the name; for a key line, the
// key without its trailing blanks, the offset of the value (past the "="
// and the blanks after it) and whether the value is empty.
struct Parsed {
    LineKind kind;
    const char *name;
    size_t name_length;
    size_t value_at;
    bool empty_value;
};

Parsed parse_line(const Line &line, Brackets brackets)
{
    Parsed p{};
    size_t n = strnlen(line.text, line.length);
    const char *t = line.text;
    if (n > 0 && t[0] == '#') {
        p.kind = LineKind::kComment;
        return p;
    }
    if (n > 0 && t[0] == brackets.open) {
        const void *close = std::memchr(t + 1, brackets.close, n - 1);
        if (close == nullptr) {
            p.kind = LineKind::kIgnored;
            return p;
        }
        p.kind = LineKind::kSectionStart;
        p.name = t + 1;
        p.name_length = static_cast<size_t>(static_cast<const char *>(close) - (t + 1));
        return p;
    }
    if (n > 0 && is_header_start(t[0])) {
        p.kind = LineKind::kSectionEnd;
        return p;
    }
    const void *eq = std::memchr(t, '=', n);
    if (eq == nullptr) {
        p.kind = LineKind::kOther;
        return p;
    }
    size_t at = static_cast<size_t>(static_cast<const char *>(eq) - t);
    size_t key_end = at;
    while (key_end > 0 && is_blank(t[key_end - 1]))
        key_end--;
    size_t value_at = at + 1;
    while (value_at < n && is_blank(t[value_at]))
        value_at++;
    p.kind = LineKind::kKey;
    p.name = t;
    p.name_length = key_end;
    p.value_at = value_at;
    p.empty_value = value_at == n;
    return p;
}

bool same_name(const char *text, size_t length, const char *name)
{
    return std::strlen(name) == length && strncasecmp(text, name, length) == 0;
}

/* ---- the edited text ---- */

using Text = kx::ProfileText;

void append_line(Text *text, const Line &line)
{
    append(text, line.text, line.length);
    if (line.cr)
        append(text, "\r", 1);
    if (line.nl)
        append(text, "\n", 1);
}

void append_ending(Text *text, bool cr)
{
    append_str(text, cr ? "\r\n" : "\n");
}

// "key = value" and a line ending.
void append_setting(Text *text, const char *key, const char *value, bool cr)
{
    append_str(text, key);
    append_str(text, " = ");
    append_str(text, value);
    append_ending(text, cr);
}

// The request: a setting (key and value), the removal of a key (value
// null) or of a section (key null).
struct Request {
    Brackets brackets;
    const char *section;
    const char *key;
    const char *value;
};

// Where the setting goes in the file: line numbers (from 0) of the section
// of the name that the reader reads (the first that has lines, or else the
// first), its key line to rewrite, and the line after which a new key line
// is added. -1 where there is none.
struct Plan {
    long header = -1;
    long rewrite = -1;
    long insert_after = -1;
};

// The plan within one section: its header's line and what it holds.
struct SectionPlan {
    long header = -1;
    bool has_lines = false;
    long first_match = -1;    // first key line of the key
    long first_valued = -1;   // first such line with a value: the reader's
    long last_key = -1;
};

Plan plan_setting(const char *data, size_t size, const Request &r)
{
    SectionPlan first;    // the first section of the name
    SectionPlan read;     // the first of the name that has lines
    SectionPlan current;
    bool in_target = false;
    auto close_section = [&] {
        if (!in_target)
            return;
        if (first.header < 0)
            first = current;
        if (read.header < 0 && current.has_lines)
            read = current;
        in_target = false;
    };
    size_t pos = 0;
    for (long index = 0; pos < size; index++) {
        Line line = next_line(data, size, &pos);
        Parsed p = parse_line(line, r.brackets);
        if (p.kind == LineKind::kSectionStart || p.kind == LineKind::kSectionEnd) {
            close_section();
            if (p.kind == LineKind::kSectionStart && same_name(p.name, p.name_length, r.section)) {
                current = SectionPlan{};
                current.header = index;
                in_target = true;
            }
            continue;
        }
        if (!in_target || p.kind == LineKind::kComment || p.kind == LineKind::kIgnored)
            continue;
        current.has_lines = true;
        if (p.kind != LineKind::kKey)
            continue;
        current.last_key = index;
        if (!same_name(p.name, p.name_length, r.key))
            continue;
        if (current.first_match < 0)
            current.first_match = index;
        if (current.first_valued < 0 && !p.empty_value)
            current.first_valued = index;
    }
    close_section();
    const SectionPlan &chosen = read.header >= 0 ? read : first;
    Plan plan;
    plan.header = chosen.header;
    plan.rewrite = chosen.first_valued >= 0 ? chosen.first_valued : chosen.first_match;
    plan.insert_after = chosen.last_key >= 0 ? chosen.last_key : chosen.header;
    return plan;
}

// The key line with its value replaced: everything up to the value (key,
// "=" and the blanks after it) is kept, and so is the line ending.
void append_rewritten(Text *out, const Line &line, const Parsed &p, const char *value)
{
    append(out, line.text, p.value_at);
    if (p.empty_value && p.value_at > 0 && line.text[p.value_at - 1] == '=' &&
        p.name_length + 1 < p.value_at)
        append_str(out, " ");  // "key =" had a blank before the "=" only
    append_str(out, value);
    if (line.cr)
        append(out, "\r", 1);
    if (line.nl)
        append(out, "\n", 1);
}

// Builds the new contents for a setting; always a change. False when the
// rewritten key line would pass 255 octets (the reader would take it in
// pieces).
bool edit_setting(Text *out, const char *data, size_t size, const Request &r)
{
    Plan plan = plan_setting(data, size, r);
    size_t pos = 0;
    bool last_ended = true;
    bool last_blank = true;
    for (long index = 0; pos < size; index++) {
        Line line = next_line(data, size, &pos);
        if (index == plan.rewrite && plan.rewrite >= 0) {
            Parsed p = parse_line(line, r.brackets);
            if (p.value_at + std::strlen(r.value) + (line.cr ? 1 : 0) > kMaxLine)
                return false;
            append_rewritten(out, line, p, r.value);
            continue;
        }
        append_line(out, line);
        last_ended = line.nl;
        last_blank = line.length == 0;
        if (plan.rewrite < 0 && index == plan.insert_after) {
            if (!line.nl)
                append_str(out, "\n");  // a last line ends (its "\r" is written)
            append_setting(out, r.key, r.value, line.cr);
        }
    }
    if (plan.header >= 0)
        return true;
    // A new section at the end, after a blank line.
    if (size > 0) {
        if (!last_ended)
            append_ending(out, false);
        if (!last_blank || !last_ended)
            append_ending(out, false);
    }
    char open[2] = {r.brackets.open, '\0'};
    char close[2] = {r.brackets.close, '\0'};
    append_str(out, open);
    append_str(out, r.section);
    append_str(out, close);
    append_ending(out, false);
    append_setting(out, r.key, r.value, false);
    return true;
}

// Builds the new contents without a key (value null) or without a section
// (key null) in every section of the name; false when nothing is removed.
bool edit_removal(Text *out, const char *data, size_t size, const Request &r)
{
    bool removed = false;
    bool in_target = false;
    size_t pos = 0;
    while (pos < size) {
        Line line = next_line(data, size, &pos);
        Parsed p = parse_line(line, r.brackets);
        if (p.kind == LineKind::kSectionStart || p.kind == LineKind::kSectionEnd)
            in_target = p.kind == LineKind::kSectionStart &&
                        same_name(p.name, p.name_length, r.section);
        bool drop = in_target && (r.key == nullptr ||
                                  (p.kind == LineKind::kKey &&
                                   same_name(p.name, p.name_length, r.key)));
        if (drop) {
            removed = true;
            continue;
        }
        append_line(out, line);
    }
    return removed;
}

/* ---- checks on the request ---- */

bool holds_line_break(const char *text)
{
    return text != nullptr && std::strpbrk(text, "\r\n") != nullptr;
}

// Why the request cannot be written so that the reader finds it again, or
// null when it can.
const char *refusal(const Request &r)
{
    if (r.section == nullptr)
        return "no section is given";
    if (holds_line_break(r.section))
        return "the section holds a line break";
    if (holds_line_break(r.key))
        return "the key holds a line break";
    if (holds_line_break(r.value))
        return "the value holds a line break";
    if (std::strchr(r.section, r.brackets.close) != nullptr)
        return "the section holds its closing bracket";
    if (r.key != nullptr) {
        if (r.key[0] == '\0' || r.key[0] == '#' || is_header_start(r.key[0]) ||
            std::strchr(r.key, '=') != nullptr)
            return "the key cannot open a key line";
        if (r.value != nullptr && std::strlen(r.key) + 3 + std::strlen(r.value) > kMaxLine)
            return "the line would pass 255 octets";
    }
    if (std::strlen(r.section) + 2 > kMaxLine)
        return "the line would pass 255 octets";
    return nullptr;
}

/* ---- the file ---- */

// Reads the whole file at path into a malloc'ed buffer (null with errno set
// on failure; a missing file gives *exists false and an empty text).
char *read_profile(const char *path, size_t *size, struct stat *st, bool *exists)
{
    *size = 0;
    *exists = false;
    int fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (errno != ENOENT)
            return nullptr;
        char *empty = static_cast<char *>(std::malloc(1));
        if (empty == nullptr)
            errno = ENOMEM;
        return empty;
    }
    if (::fstat(fd, st) != 0) {
        int saved = errno;
        ::close(fd);
        errno = saved;
        return nullptr;
    }
    if (!S_ISREG(st->st_mode) || static_cast<uint64_t>(st->st_size) > kMaxFile) {
        ::close(fd);
        errno = S_ISDIR(st->st_mode) ? EISDIR : S_ISREG(st->st_mode) ? EFBIG : EINVAL;
        return nullptr;
    }
    *exists = true;
    size_t capacity = static_cast<size_t>(st->st_size) + 1;
    char *data = static_cast<char *>(std::malloc(capacity));
    size_t used = 0;
    while (data != nullptr) {
        if (used == capacity) {
            // the file grew while it was read: read on, within the limit
            char *bigger = capacity <= kMaxFile
                               ? static_cast<char *>(std::realloc(data, capacity * 2))
                               : nullptr;
            if (bigger == nullptr) {
                std::free(data);
                data = nullptr;
                errno = capacity <= kMaxFile ? ENOMEM : EFBIG;
                break;
            }
            data = bigger;
            capacity *= 2;
        }
        ssize_t got = ::read(fd, data + used, capacity - used);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0) {
            int saved = errno;
            std::free(data);
            data = nullptr;
            errno = saved;
            break;
        }
        if (got == 0)
            break;
        used += static_cast<size_t>(got);
    }
    if (data == nullptr && errno == 0)
        errno = ENOMEM;
    int saved = errno;
    ::close(fd);
    errno = saved;
    *size = used;
    return data;
}

// Writes data to a new file beside target and renames it over target. An
// existing file's permission bits and owner are given to the new one; a
// new file takes 0666 less the umask. False with errno set on failure (the
// target is then as it was).
bool replace_file(const char *target, const char *data, size_t size, const struct stat *old)
{
    char temp[PATH_MAX + 32];
    int fd = -1;
    for (int attempt = 0; attempt < kCreateAttempts && fd < 0; attempt++) {
        int n = std::snprintf(temp, sizeof temp, "%s.%05x%05x~", target,
                              static_cast<unsigned>(getpid()),
                              __atomic_fetch_add(&temp_counter, 1, __ATOMIC_RELAXED));
        if (n < 0 || static_cast<size_t>(n) >= sizeof temp) {
            errno = ENAMETOOLONG;
            return false;
        }
        fd = ::open(temp, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
        if (fd < 0 && errno != EEXIST)
            return false;
    }
    if (fd < 0)
        return false;
    if (old != nullptr) {
        // the owner first: a change of owner may clear the set-id bits
        if (::fchown(fd, old->st_uid, old->st_gid) != 0) {
            // not allowed: the file becomes the writer's, as a new one would
        }
        ::fchmod(fd, old->st_mode & 07777);
    }
    bool ok = true;
    size_t done = 0;
    while (ok && done < size) {
        ssize_t put = ::write(fd, data + done, size - done);
        if (put < 0 && errno == EINTR)
            continue;
        if (put < 0)
            ok = false;
        else
            done += static_cast<size_t>(put);
    }
    if (ok && ::fsync(fd) != 0)
        ok = false;
    if (::close(fd) != 0)
        ok = false;
    if (ok && ::rename(temp, target) != 0)
        ok = false;
    if (!ok) {
        int saved = errno;
        ::unlink(temp);
        errno = saved;
    }
    return ok;
}

}  // namespace

extern "C" {

KX_API int32_t kxstd_get_profile_string(ProfileHandle *handle, int32_t mode, const char *section,
                                        const char *key, const char *default_value, char *output,
                                        int32_t output_size)
{
    if (default_value == nullptr)
        default_value = "";
    if (output == nullptr && output_size > 0)
        return -1;
    if (handle == nullptr) {
        copy_cut(output, output_size, default_value);
        return -1;
    }
    if (mode != 0 && mode != 1 && handle->reader != nullptr) {
        set_error(handle, kUnknownError);
        if (output_size <= 0)
            return 0;
        handle->reader(section, key, default_value, output, output_size, "ODBC.INI");
        output[output_size - 1] = '\0';
        return static_cast<int32_t>(std::strlen(output));
    }
    // The family's reader into a room that holds any value; a value it finds
    // is never empty, so an empty answer is the default's turn.
    char found[kValueRoom];
    int32_t rc = get_profile_string(handle, mode, section, key, "", found, kValueRoom);
    const char *text = rc == 0 && found[0] != '\0' ? found : default_value;
    int32_t copied = copy_cut(output, output_size, text);
    return rc < 0 ? -1 : copied;
}

KX_API char *kxstd_get_default(ProfileHandle *handle, const char *key, char *output,
                               int32_t output_size)
{
    if (handle != nullptr && handle->dsn[0] != '\0')
        kxstd_get_profile_string(handle, 2, handle->dsn, key, "", output, output_size);
    else
        kxstd_get_profile_string(handle, 0, "default", key, "", output, output_size);
    return output;
}

KX_API int32_t kxstd_set_profile_string(ProfileHandle *handle, int32_t mode, const char *section,
                                        const char *key, const char *value)
{
    if (handle == nullptr)
        return -1;
    set_error(handle, kUnknownError);
    Request request{brackets_for(mode), section, key, value};
    if (const char *why = refusal(request)) {
        std::snprintf(handle->error, sizeof handle->error, "Refused to write to %s, %s",
                      handle->path, why);
        return -1;
    }
    char path[PATH_MAX];
    kx::profile_write_target(handle->path, path, sizeof path);

    struct stat st{};
    size_t size = 0;
    bool exists = false;
    char *data = read_profile(path, &size, &st, &exists);
    if (data == nullptr) {
        post_errno(handle, "Failed to open %s for input, %s", path, errno);
        return -1;
    }
    Text out;
    bool changed = true;
    if (key != nullptr && value != nullptr) {
        if (!edit_setting(&out, data, size, request)) {
            std::free(data);
            std::free(out.data);
            std::snprintf(handle->error, sizeof handle->error,
                          "Refused to write to %s, the line would pass 255 octets", handle->path);
            return -1;
        }
    } else {
        changed = edit_removal(&out, data, size, request);
    }
    std::free(data);
    if (out.failed) {
        std::free(out.data);
        post_errno(handle, "Failed to open %s for output, %s", path, ENOMEM);
        return -1;
    }
    if (!changed) {
        // nothing to remove: the file is not touched (nor made)
        std::free(out.data);
        return 0;
    }
    bool ok = replace_file(path, out.data != nullptr ? out.data : "", out.length,
                           exists ? &st : nullptr);
    int error = errno;
    std::free(out.data);
    kx::profile_forget(path);
    kx::profile_forget(handle->path);
    if (!ok) {
        post_errno(handle, "Failed to open %s for output, %s", path, error);
        return -1;
    }
    return 0;
}

}  // extern "C"
