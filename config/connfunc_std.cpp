/*
 * connfunc_std.cpp - connection strings of the standard family.
 *
 * Exports kxstd_parse_connection_string and
 * kxstd_generate_connection_string.
 *
 * The text is read by the grammar ODBC gives for SQLDriverConnect:
 *
 *   connection-string ::= attribute { ";" attribute } [ ";" ]
 *   attribute         ::= keyword "=" value | (empty)
 *   value             ::= characters without ";" | "{" characters "}"
 *
 * where a braced value may hold ";" and writes a "}" of its own as "}}".
 * Every keyword may take a braced value (the family's parser knows braces
 * for DRIVER and two prefixes only), and an empty attribute is passed over
 * (the family's reads ";B" as the keyword of "A=1;;B=2"). The pairs go into
 * the family's ConnectionString through append_pair, so the record, the
 * keyword rules and the memory they live in are the family's own. The
 * generator writes what this parser reads back.
 */
#include "kxsupp/config.h"
#include "kxsupp/memory.h"
#include "kxsupp/standard.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <strings.h>

namespace {

bool is_blank(char c)
{
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

bool same_keyword(const char *a, const char *b)
{
    return a != nullptr && strcasecmp(a, b) == 0;
}

bool has_prefix(const char *text, const char *prefix)
{
    return strncasecmp(text, prefix, std::strlen(prefix)) == 0;
}

// The keywords whose value the family's generator always braces.
bool braced_keyword(const char *keyword)
{
    return same_keyword(keyword, "DRIVER") || has_prefix(keyword, "SQITARGET") ||
           has_prefix(keyword, "REMOTESTRING");
}

// Scans one attribute at *cursor (the text is terminated) into the keyword
// and value areas (each with room for the whole text) and moves the cursor
// past it. Returns false at the end of the text; an attribute to pass over
// (empty, without "=", or with an empty keyword) gives an empty keyword.
bool scan_attribute(const char **cursor, char *keyword, char *value)
{
    const char *p = *cursor;
    keyword[0] = '\0';
    value[0] = '\0';
    if (*p == '\0')
        return false;
    const char *stop = p + std::strcspn(p, "=;");
    if (*stop != '=') {
        // an empty attribute, or a fragment without "="
        *cursor = *stop == ';' ? stop + 1 : stop;
        return true;
    }
    const char *k = p;
    const char *k_end = stop;
    while (k < k_end && is_blank(*k))
        k++;
    while (k_end > k && is_blank(k_end[-1]))
        k_end--;
    std::memcpy(keyword, k, static_cast<size_t>(k_end - k));
    keyword[k_end - k] = '\0';

    const char *v = stop + 1;
    const char *brace = v;
    while (is_blank(*brace))
        brace++;
    if (*brace == '{') {
        size_t n = 0;
        const char *q = brace + 1;
        for (;;) {
            if (*q == '\0')
                break;  // unclosed: the rest of the text
            if (*q == '}') {
                if (q[1] == '}') {
                    value[n++] = '}';
                    q += 2;
                    continue;
                }
                q++;
                break;
            }
            value[n++] = *q++;
        }
        value[n] = '\0';
        // what follows the closing brace up to the next ";" is passed over
        q += std::strcspn(q, ";");
        *cursor = *q == ';' ? q + 1 : q;
        return true;
    }
    const char *end = v + std::strcspn(v, ";");
    std::memcpy(value, v, static_cast<size_t>(end - v));
    value[end - v] = '\0';
    *cursor = *end == ';' ? end + 1 : end;
    return true;
}

// Whether a value must be braced to be read back as it is.
bool needs_braces(const char *keyword, const char *value)
{
    size_t n = std::strlen(value);
    return braced_keyword(keyword) || std::strpbrk(value, ";{}") != nullptr ||
           (n > 0 && (is_blank(value[0]) || is_blank(value[n - 1])));
}

// Whether a keyword is read back as itself.
bool writable_keyword(const char *keyword)
{
    size_t n = std::strlen(keyword);
    return n > 0 && std::strpbrk(keyword, "=;") == nullptr && !is_blank(keyword[0]) &&
           !is_blank(keyword[n - 1]);
}

// The octets a value takes written (braces and doubled "}" included).
size_t written_length(const char *value, bool braces)
{
    size_t n = std::strlen(value);
    if (!braces)
        return n;
    for (const char *c = value; *c != '\0'; c++)
        if (*c == '}')
            n++;
    return n + 2;
}

void put(char *buffer, size_t *length, const char *text, size_t n)
{
    std::memcpy(buffer + *length, text, n);
    *length += n;
}

char empty_text[1];   // the empty text of empty records; never written

}  // namespace

extern "C" {

KX_API int32_t kxstd_parse_connection_string(ConnectionString *cs, MemHandle *handle,
                                             const char *text, int32_t length, int32_t flags)
{
    if (cs == nullptr)
        return KXSTD_INVALID_ARGUMENT;
    cs->count = 0;
    cs->pairs = nullptr;
    if (length < 0 && length != KX_NTS)
        return KXSTD_INVALID_LENGTH;
    if (text == nullptr)
        return KXSTD_OK;
    size_t n = length == KX_NTS ? std::strlen(text)
                                : strnlen(text, static_cast<size_t>(length));
    // One block for the terminated text and the keyword and value areas,
    // each as long as the text; on the stack for the usual short strings.
    char local[3 * 256];
    char *block = n < 256 ? local : static_cast<char *>(std::malloc(3 * (n + 1)));
    if (block == nullptr)
        return KXSTD_NO_MEMORY;
    char *copy = block;
    char *keyword = block + (n + 1);
    char *value = block + 2 * (n + 1);
    std::memcpy(copy, text, n);
    copy[n] = '\0';

    int32_t status = KXSTD_OK;
    bool any = false;
    bool named = false;
    const char *cursor = copy;
    while (status == KXSTD_OK && scan_attribute(&cursor, keyword, value)) {
        if (keyword[0] == '\0')
            continue;
        any = true;
        if (same_keyword(keyword, "DSN") || same_keyword(keyword, "DRIVER") ||
            same_keyword(keyword, "FILEDSN"))
            named = true;
        if (append_pair(cs, keyword, value, handle) != 0)
            status = KXSTD_NO_MEMORY;
    }
    if (status == KXSTD_OK && any && !named && (flags & 1) == 0 &&
        append_pair(cs, "DSN", "DEFAULT", handle) != 0)
        status = KXSTD_NO_MEMORY;
    if (block != local)
        std::free(block);
    return status;
}

KX_API char *kxstd_generate_connection_string(const ConnectionString *cs, char *buffer,
                                              int32_t size)
{
    if (cs == nullptr || cs->count == 0 || buffer == nullptr)
        return empty_text;
    bool has_dsn = get_attribute_value(cs, "DSN") != nullptr;
    size_t length = 0;
    buffer[0] = '\0';
    for (ListElement *e = ListFirst(cs->pairs); e != nullptr; e = ListNext(e)) {
        auto *pair = static_cast<ConnectionPair *>(ListData(e));
        if (pair == nullptr || pair->keyword == nullptr || !writable_keyword(pair->keyword))
            continue;
        const char *keyword = pair->keyword;
        if ((has_dsn && same_keyword(keyword, "DRIVER")) || same_keyword(keyword, "Description"))
            continue;
        const char *value = pair->value != nullptr ? pair->value : "";
        bool braces = needs_braces(keyword, value);
        size_t klen = std::strlen(keyword);
        size_t piece = klen + 1 + written_length(value, braces) + 1;
        if (size < 0 || length + piece > static_cast<size_t>(size))
            break;
        put(buffer, &length, keyword, klen);
        put(buffer, &length, "=", 1);
        if (braces) {
            put(buffer, &length, "{", 1);
            for (const char *c = value; *c != '\0'; c++) {
                put(buffer, &length, c, 1);
                if (*c == '}')
                    put(buffer, &length, "}", 1);
            }
            put(buffer, &length, "}", 1);
        } else {
            put(buffer, &length, value, std::strlen(value));
        }
        put(buffer, &length, ";", 1);
        buffer[length] = '\0';
    }
    return buffer;
}

}  // extern "C"
