/*
 * connfunc.cpp - ODBC connection strings ("DSN=x;UID=y;DRIVER={Some
 * Driver};") held as ordered lists of keyword/value pairs.
 *
 * Exports init_con_str, parse_connection_string, get_attr, append_pair,
 * merge_connection_string, get_attribute_value, modify_connection_string,
 * change_connection_string, replace_connection_string,
 * delete_connection_string and the three generators
 * generate_connection_string, generate_connection_string_ex and
 * generate_connection_string_config.
 *
 * A ConnectionString counts the pairs added and lists ConnectionPair
 * records; pairs and their texts are allocated in the MemHandle passed to
 * the call that makes them and are private copies. Pairs keep the order in
 * which their keywords first appeared; keywords compare case-insensitively.
 * Three keywords take a braced value that may hold ";": DRIVER, and any
 * keyword beginning with SQITARGET or REMOTESTRING.
 */
#include "kxsupp/config.h"
#include "kxsupp/memory.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <strings.h>

namespace {

constexpr int32_t kNts = KX_NTS;
char empty_text[1];   // the empty text of empty records; never written

// A piece of the caller's text: not zero-terminated.
struct Span {
    const char *start;
    size_t length;
};

// a is a pair's keyword, which may be missing in a hand-built record; b is
// never null: the callers check the keyword they were given, or pass a
// constant.
bool same_keyword(const char *a, const char *b)
{
    return a != nullptr && strcasecmp(a, b) == 0;
}

bool span_is(Span s, const char *word)
{
    size_t n = std::strlen(word);
    return s.length == n && strncasecmp(s.start, word, n) == 0;
}

bool has_prefix(const char *text, size_t length, const char *prefix)
{
    size_t n = std::strlen(prefix);
    return length >= n && strncasecmp(text, prefix, n) == 0;
}

// Keywords whose value may be given in braces.
bool braced_keyword(const char *text, size_t length)
{
    return (length == 6 && strncasecmp(text, "DRIVER", 6) == 0) ||
           has_prefix(text, length, "SQITARGET") ||
           has_prefix(text, length, "REMOTESTRING");
}

char *copy_span(MemHandle *handle, const char *text, size_t length)
{
    auto *copy = static_cast<char *>(kx_mem_alloc(handle, length + 1));
    if (copy == nullptr)
        return nullptr;
    std::memcpy(copy, text, length);
    copy[length] = '\0';
    return copy;
}

char *copy_text(MemHandle *handle, const char *text)
{
    return text == nullptr ? nullptr : copy_span(handle, text, std::strlen(text));
}

void free_text(MemHandle *handle, char *text)
{
    if (text != nullptr)
        kx_mem_free(handle, text);
}

// Replaces the text in *field by a copy of text (null stores null), freeing
// the old one. When the copy cannot be made, *field is left as it was and
// false is returned.
bool replace_text(MemHandle *handle, char **field, const char *text)
{
    char *copy = copy_text(handle, text);
    if (text != nullptr && copy == nullptr)
        return false;
    free_text(handle, *field);
    *field = copy;
    return true;
}

ConnectionPair *pair_of(const ListElement *element)
{
    return static_cast<ConnectionPair *>(ListData(element));
}

ListElement *find_element(const ConnectionString *cs, const char *keyword)
{
    if (cs == nullptr || keyword == nullptr)
        return nullptr;
    for (ListElement *e = ListFirst(cs->pairs); e != nullptr; e = ListNext(e)) {
        ConnectionPair *pair = pair_of(e);
        if (pair != nullptr && same_keyword(pair->keyword, keyword))
            return e;
    }
    return nullptr;
}

ConnectionPair *find_pair(const ConnectionString *cs, const char *keyword)
{
    ListElement *e = find_element(cs, keyword);
    return e == nullptr ? nullptr : pair_of(e);
}

// Scans one attribute at *cursor: keyword and value spans, or false when no
// "=" remains (the cursor then rests at the end of the text).
bool scan_attr(const char **cursor, Span *keyword, Span *value)
{
    const char *p = *cursor;
    if (*p == '\0')
        return false;
    const char *eq = std::strchr(p, '=');
    if (eq == nullptr) {
        *cursor = p + std::strlen(p);
        return false;
    }
    *keyword = {p, static_cast<size_t>(eq - p)};
    const char *v = eq + 1;
    if (braced_keyword(p, keyword->length) && *v == '{') {
        const char *start = v + 1;
        const char *end = std::strchr(start, '}');
        if (end == nullptr) {
            end = start + std::strlen(start);
            *cursor = end;
        } else {
            // Past the "}" and always one character more, whatever it is.
            *cursor = end[1] != '\0' ? end + 2 : end + 1;
        }
        *value = {start, static_cast<size_t>(end - start)};
        return true;
    }
    const char *end = std::strchr(v, ';');
    if (end == nullptr) {
        end = v + std::strlen(v);
        *cursor = end;
    } else {
        *cursor = end + 1;
    }
    *value = {v, static_cast<size_t>(end - v)};
    return true;
}

// append_pair over spans: replaces the value of an existing keyword or adds
// an upper-cased pair at the end. Returns 0, or 1 when memory ran out.
int32_t append_span(ConnectionString *cs, Span keyword, Span value,
                    MemHandle *handle)
{
    for (ListElement *e = ListFirst(cs->pairs); e != nullptr; e = ListNext(e)) {
        ConnectionPair *pair = pair_of(e);
        if (pair == nullptr || pair->keyword == nullptr)
            continue;
        if (std::strlen(pair->keyword) == keyword.length &&
            strncasecmp(pair->keyword, keyword.start, keyword.length) == 0) {
            char *copy = copy_span(handle, value.start, value.length);
            if (copy == nullptr)
                return 1;
            free_text(handle, pair->value);
            pair->value = copy;
            return 0;
        }
    }
    auto *pair = static_cast<ConnectionPair *>(kx_mem_alloc(handle, sizeof(ConnectionPair)));
    if (pair == nullptr)
        return 1;
    pair->keyword = copy_span(handle, keyword.start, keyword.length);
    pair->value = copy_span(handle, value.start, value.length);
    if (pair->keyword == nullptr || pair->value == nullptr) {
        free_text(handle, pair->keyword);
        free_text(handle, pair->value);
        kx_mem_free(handle, pair);
        return 1;
    }
    for (char *c = pair->keyword; *c != '\0'; c++)
        *c = static_cast<char>(std::toupper(static_cast<unsigned char>(*c)));
    int32_t before = ListCount(cs->pairs);
    List *list = ListAppend(pair, cs->pairs, handle);
    if (list == nullptr || ListCount(list) == before) {
        free_text(handle, pair->keyword);
        free_text(handle, pair->value);
        kx_mem_free(handle, pair);
        return 1;
    }
    cs->pairs = list;
    cs->count++;
    return 0;
}

Span span_of(const char *text)
{
    return {text, std::strlen(text)};
}

// Appends text to buffer at *length.
void put(char *buffer, size_t *length, const char *text, size_t n)
{
    std::memcpy(buffer + *length, text, n);
    *length += n;
}

}  // namespace

extern "C" {

KX_API ConnectionString *init_con_str(ConnectionString *cs)
{
    if (cs != nullptr) {
        cs->count = 0;
        cs->pairs = nullptr;
    }
    return cs;
}

KX_API void get_attr(MemHandle *handle, const char **cursor, char **keyword,
                     char **value)
{
    if (keyword != nullptr)
        *keyword = nullptr;
    if (value != nullptr)
        *value = nullptr;
    if (cursor == nullptr || *cursor == nullptr)
        return;
    Span k;
    Span v;
    if (!scan_attr(cursor, &k, &v))
        return;
    if (keyword != nullptr)
        *keyword = copy_span(handle, k.start, k.length);
    if (value != nullptr)
        *value = copy_span(handle, v.start, v.length);
}

KX_API int32_t parse_connection_string(ConnectionString *cs, MemHandle *handle,
                                       const char *text, int32_t length,
                                       int32_t flags)
{
    if (cs == nullptr)
        return 0;
    cs->count = 0;
    cs->pairs = nullptr;
    if (text == nullptr)
        return 0;

    // Text given with a length is copied and terminated first; any negative
    // length other than SQL_NTS is taken as SQL_NTS too.
    char local[512];
    char *copy = nullptr;
    if (length != kNts && length >= 0) {
        size_t n = static_cast<size_t>(length);
        const void *nul = std::memchr(text, '\0', n);
        if (nul != nullptr)
            n = static_cast<size_t>(static_cast<const char *>(nul) - text);
        copy = n < sizeof local ? local : static_cast<char *>(std::malloc(n + 1));
        if (copy == nullptr)
            return 0;
        std::memcpy(copy, text, n);
        copy[n] = '\0';
        text = copy;
    }

    if (text[0] != '\0' && std::strcmp(text, ";") != 0) {
        bool named = false;
        const char *cursor = text;
        Span keyword;
        Span value;
        while (scan_attr(&cursor, &keyword, &value)) {
            if (span_is(keyword, "DSN") || span_is(keyword, "DRIVER") ||
                span_is(keyword, "FILEDSN"))
                named = true;
            append_span(cs, keyword, value, handle);
        }
        if (!named && (flags & 1) == 0)
            append_span(cs, span_of("DSN"), span_of("DEFAULT"), handle);
    }
    if (copy != nullptr && copy != local)
        std::free(copy);
    return 0;
}

KX_API int32_t append_pair(ConnectionString *cs, const char *keyword,
                           const char *value, MemHandle *handle)
{
    if (value == nullptr || cs == nullptr || keyword == nullptr)
        return 1;
    return append_span(cs, span_of(keyword), span_of(value), handle);
}

KX_API int32_t merge_connection_string(ConnectionString *target,
                                       const ConnectionString *source,
                                       MemHandle *handle)
{
    if (target == nullptr || source == nullptr)
        return 0;
    for (ListElement *s = ListFirst(source->pairs); s != nullptr; s = ListNext(s)) {
        ConnectionPair *from = pair_of(s);
        if (from == nullptr || from->keyword == nullptr)
            continue;
        bool present = false;
        for (ListElement *t = ListFirst(target->pairs); t != nullptr; t = ListNext(t)) {
            ConnectionPair *to = pair_of(t);
            if (to == nullptr || !same_keyword(to->keyword, from->keyword))
                continue;
            present = true;
            replace_text(handle, &to->value, from->value);
        }
        if (!present)
            append_pair(target, from->keyword, from->value, handle);
    }
    return 0;
}

KX_API char *get_attribute_value(const ConnectionString *cs, const char *keyword)
{
    ConnectionPair *pair = find_pair(cs, keyword);
    if (pair == nullptr)
        return nullptr;
    if (pair->value == nullptr) {
        return empty_text;
    }
    return pair->value;
}

KX_API int32_t modify_connection_string(ConnectionString *cs,
                                        const char *keyword, const char *value,
                                        MemHandle *handle)
{
    ConnectionPair *pair = find_pair(cs, keyword);
    if (pair == nullptr)
        return 0;
    replace_text(handle, &pair->value, value);
    return 0;
}

KX_API int32_t change_connection_string(ConnectionString *cs,
                                        const char *keyword,
                                        const char *new_keyword,
                                        MemHandle *handle)
{
    ConnectionPair *pair = find_pair(cs, keyword);
    if (pair == nullptr || new_keyword == nullptr)
        return 0;
    replace_text(handle, &pair->keyword, new_keyword);
    return 0;
}

KX_API int32_t replace_connection_string(ConnectionString *cs,
                                         const char *old_keyword,
                                         const char *new_keyword,
                                         MemHandle *handle)
{
    if (cs == nullptr || cs->count == 0 || old_keyword == nullptr ||
        old_keyword[0] == '\0' || new_keyword == nullptr ||
        new_keyword[0] == '\0' || ListCount(cs->pairs) == 0)
        return 0;
    ConnectionPair *last_match = nullptr;
    for (ListElement *e = ListFirst(cs->pairs); e != nullptr; e = ListNext(e)) {
        ConnectionPair *pair = pair_of(e);
        if (pair == nullptr)
            continue;
        if (same_keyword(pair->keyword, new_keyword))
            return 0;
        if (same_keyword(pair->keyword, old_keyword))
            last_match = pair;
    }
    if (last_match == nullptr)
        return 0;
    return replace_text(handle, &last_match->keyword, new_keyword) ? 1 : 0;
}

KX_API int32_t delete_connection_string(ConnectionString *cs,
                                        const char *keyword, MemHandle *handle)
{
    if (cs == nullptr || cs->count == 0 || keyword == nullptr || keyword[0] == '\0')
        return 0;
    ListElement *e = find_element(cs, keyword);
    if (e == nullptr)
        return 0;
    ConnectionPair *pair = pair_of(e);
    free_text(handle, pair->keyword);
    free_text(handle, pair->value);
    kx_mem_free(handle, pair);
    ListDelete(cs->pairs, e, handle);
    // The count is kept: readers walk the list, and only a zero count is
    // ever tested.
    return 0;
}

KX_API char *generate_connection_string(const ConnectionString *cs,
                                        char *buffer, int32_t size)
{
    if (cs == nullptr || cs->count == 0 || buffer == nullptr) {
        return empty_text;
    }
    bool has_dsn = find_pair(cs, "DSN") != nullptr;
    size_t length = 0;
    buffer[0] = '\0';
    for (ListElement *e = ListFirst(cs->pairs); e != nullptr; e = ListNext(e)) {
        ConnectionPair *pair = pair_of(e);
        if (pair == nullptr || pair->keyword == nullptr)
            continue;
        const char *keyword = pair->keyword;
        if ((has_dsn && same_keyword(keyword, "DRIVER")) ||
            same_keyword(keyword, "Description"))
            continue;
        const char *value = pair->value != nullptr ? pair->value : "";
        size_t klen = std::strlen(keyword);
        size_t vlen = std::strlen(value);
        bool braces = braced_keyword(keyword, klen);
        size_t piece = klen + vlen + (braces ? 4 : 2);
        if (size < 0 || length + piece > static_cast<size_t>(size))
            break;
        put(buffer, &length, keyword, klen);
        put(buffer, &length, braces ? "={" : "=", braces ? 2 : 1);
        put(buffer, &length, value, vlen);
        put(buffer, &length, braces ? "};" : ";", braces ? 2 : 1);
        buffer[length] = '\0';
    }
    return buffer;
}

KX_API char *generate_connection_string_ex(const ConnectionString *cs,
                                           char *buffer)
{
    if (cs == nullptr || cs->count == 0 || buffer == nullptr) {
        return empty_text;
    }
    size_t length = 0;
    buffer[0] = '\0';
    for (ListElement *e = ListFirst(cs->pairs); e != nullptr; e = ListNext(e)) {
        ConnectionPair *pair = pair_of(e);
        if (pair == nullptr || pair->keyword == nullptr ||
            same_keyword(pair->keyword, "ODBCDM"))
            continue;
        const char *value = pair->value != nullptr ? pair->value : "";
        put(buffer, &length, pair->keyword, std::strlen(pair->keyword));
        put(buffer, &length, "=", 1);
        put(buffer, &length, value, std::strlen(value));
        put(buffer, &length, ";", 1);
        buffer[length] = '\0';
    }
    return buffer;
}

KX_API char *generate_connection_string_config(const ConnectionString *cs,
                                               char *buffer, int32_t size)
{
    if (buffer == nullptr || size < 2)
        return nullptr;
    if (cs == nullptr || cs->count == 0) {
        buffer[0] = '\0';
        buffer[1] = '\0';
        return buffer;
    }
    size_t remaining = static_cast<size_t>(size);
    size_t length = 0;
    for (ListElement *e = ListFirst(cs->pairs); e != nullptr; e = ListNext(e)) {
        ConnectionPair *pair = pair_of(e);
        if (pair == nullptr || pair->keyword == nullptr)
            continue;
        const char *value = pair->value != nullptr ? pair->value : "";
        size_t klen = std::strlen(pair->keyword);
        size_t vlen = std::strlen(value);
        size_t n = klen + 1 + vlen + 1;
        if (n + 1 > remaining)
            break;
        put(buffer, &length, pair->keyword, klen);
        put(buffer, &length, "=", 1);
        put(buffer, &length, value, vlen);
        put(buffer, &length, "", 1);
        remaining -= n;
        if (remaining == 1)
            break;
    }
    buffer[length] = '\0';
    return buffer;
}

}  // extern "C"
