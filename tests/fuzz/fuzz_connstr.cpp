// Fuzz target for connection strings: the input is parsed, merged with a
// second string, edited (modify, change, replace, delete, append, look-up)
// and generated in all three forms, and every result is compared with a
// model of the documented rules kept here as a list of keyword/value pairs.
// Exports LLVMFuzzerTestOneInput.
//
// Input: [flags octet] [operation octets ...] first text \0 second text \0
// then the keywords and values of the edits, each ended by \0.
//
// Properties: parsing gives the pairs the scan rules give (keywords upper-
// cased, a repeated keyword keeping its first place and last value, DSN=DEFAULT
// added unless asked not to); the edits change the pairs as documented; the
// application form is the longest run of whole pieces within the size, the
// pass-on form every pair but ODBCDM, the attribute list zero-separated
// within its size; no generator writes past its buffer; and generated text
// parses back into the same pairs. The standard parser
// (kxstd_parse_connection_string) gives the pairs of ODBC's grammar kept
// here as a second model (braces for every value, "}}" for a brace, empty
// attributes and fragments without "=" passed over, keywords trimmed), and
// kxstd_generate_connection_string writes within its size a text that it
// parses back into the same pairs.
#include <strings.h>

#include <cctype>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/fuzz_support.h"

namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

// The documented record: its pairs and its count word.
struct Model {
    Pairs pairs;
    int32_t count = 0;
};

bool same(const std::string &a, const std::string &b)
{
    return strcasecmp(a.c_str(), b.c_str()) == 0;
}

bool braced_keyword(const std::string &k)
{
    return same(k, "DRIVER") || strncasecmp(k.c_str(), "SQITARGET", 9) == 0 ||
           strncasecmp(k.c_str(), "REMOTESTRING", 12) == 0;
}

std::string upper(std::string s)
{
    for (char &c : s)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return s;
}

// One attribute at *cursor as the scanner reads it; false when no "=" remains.
bool scan_attribute(const char **cursor, std::string *keyword, std::string *value)
{
    const char *at = *cursor;
    const char *equals = std::strchr(at, '=');
    if (*at == '\0' || equals == nullptr)
        return false;
    keyword->assign(at, equals);
    at = equals + 1;
    if (braced_keyword(*keyword) && *at == '{') {
        ++at;
        const char *close = std::strchr(at, '}');
        if (close == nullptr) {
            value->assign(at);
            at += value->size();
        } else {
            value->assign(at, close);
            at = close + 1;
            if (*at != '\0')
                ++at;   // one character after "}" is always skipped
        }
    } else {
        const char *semicolon = std::strchr(at, ';');
        if (semicolon == nullptr) {
            value->assign(at);
            at += value->size();
        } else {
            value->assign(at, semicolon);
            at = semicolon + 1;
        }
    }
    *cursor = at;
    return true;
}

void model_append(Model *m, const std::string &keyword, const std::string &value)
{
    for (auto &p : m->pairs)
        if (same(p.first, keyword)) {
            p.second = value;
            return;
        }
    m->pairs.emplace_back(upper(keyword), value);
    ++m->count;
}

Model model_parse(const std::string &text, int32_t flags)
{
    Model m;
    std::string t = text.substr(0, std::strlen(text.c_str()));
    if (t.empty() || t == ";")
        return m;
    bool has_source = false;
    const char *cursor = t.c_str();
    std::string keyword, value;
    while (scan_attribute(&cursor, &keyword, &value)) {
        if (same(keyword, "DSN") || same(keyword, "DRIVER") || same(keyword, "FILEDSN"))
            has_source = true;
        model_append(&m, keyword, value);
    }
    if (!has_source && (flags & 1) == 0)
        model_append(&m, "DSN", "DEFAULT");
    return m;
}

// The standard parser's pairs: ODBC's grammar for SQLDriverConnect.
std::string trimmed(const std::string &s)
{
    size_t a = 0, b = s.size();
    while (a < b && std::isspace(static_cast<unsigned char>(s[a])))
        ++a;
    while (b > a && std::isspace(static_cast<unsigned char>(s[b - 1])))
        --b;
    return s.substr(a, b - a);
}

Model model_standard_parse(const std::string &text, int32_t flags)
{
    Model m;
    std::string t = text.substr(0, std::strlen(text.c_str()));
    bool any = false, named = false;
    size_t i = 0;
    while (i < t.size()) {
        size_t stop = t.find_first_of("=;", i);
        if (stop == std::string::npos || t[stop] == ';') {
            i = stop == std::string::npos ? t.size() : stop + 1;
            continue;
        }
        std::string keyword = trimmed(t.substr(i, stop - i));
        size_t brace = stop + 1;
        while (brace < t.size() && std::isspace(static_cast<unsigned char>(t[brace])))
            ++brace;
        std::string value;
        size_t end;
        if (brace < t.size() && t[brace] == '{') {
            size_t q = brace + 1;
            while (q < t.size()) {
                if (t[q] == '}') {
                    if (q + 1 < t.size() && t[q + 1] == '}') {
                        value += '}';
                        q += 2;
                        continue;
                    }
                    ++q;
                    break;
                }
                value += t[q++];
            }
            end = t.find(';', q);
        } else {
            end = t.find(';', stop + 1);
            value = t.substr(stop + 1, (end == std::string::npos ? t.size() : end) - (stop + 1));
        }
        i = end == std::string::npos ? t.size() : end + 1;
        if (keyword.empty())
            continue;
        any = true;
        if (same(keyword, "DSN") || same(keyword, "DRIVER") || same(keyword, "FILEDSN"))
            named = true;
        model_append(&m, keyword, value);
    }
    if (any && !named && (flags & 1) == 0)
        model_append(&m, "DSN", "DEFAULT");
    return m;
}

// The record's pairs, read through the public list calls.
Pairs pairs_of(const ConnectionString &cs)
{
    Pairs out;
    for (ListElement *e = ListFirst(cs.pairs); e != nullptr; e = ListNext(e)) {
        auto *pair = static_cast<ConnectionPair *>(ListData(e));
        out.emplace_back(pair->keyword, pair->value != nullptr ? pair->value : "");
    }
    return out;
}

std::string describe(const Pairs &pairs)
{
    std::string s;
    for (const auto &p : pairs)
        s += "[" + p.first + "]=[" + p.second + "] ";
    return s;
}

void check_same(const ConnectionString &cs, const Model &m, const char *after)
{
    Pairs got = pairs_of(cs);
    FUZZ_CHECK(got == m.pairs, "after %s: pairs %s, expected %s", after,
               describe(got).c_str(), describe(m.pairs).c_str());
    FUZZ_CHECK(cs.count == m.count, "after %s: count %d, expected %d", after, cs.count,
               m.count);
}

// ---- the three generated forms, as documented ----

std::string expected_application_form(const Model &m, int32_t size)
{
    bool has_dsn = false;
    for (const auto &p : m.pairs)
        has_dsn = has_dsn || same(p.first, "DSN");
    std::string out;
    for (const auto &p : m.pairs) {
        if ((has_dsn && same(p.first, "DRIVER")) || same(p.first, "Description"))
            continue;
        std::string piece = braced_keyword(p.first) ? p.first + "={" + p.second + "};"
                                                    : p.first + "=" + p.second + ";";
        if (out.size() + piece.size() > static_cast<size_t>(size))
            break;
        out += piece;
    }
    return out;
}

std::string expected_pass_on_form(const Model &m)
{
    std::string out;
    for (const auto &p : m.pairs)
        if (!same(p.first, "ODBCDM"))
            out += p.first + "=" + p.second + ";";
    return out;
}

std::string expected_attribute_list(const Model &m, int32_t size)
{
    if (m.count == 0)
        return std::string(2, '\0');
    std::string out;
    int32_t remaining = size;
    for (const auto &p : m.pairs) {
        int32_t n = static_cast<int32_t>(p.first.size() + 1 + p.second.size() + 1);
        if (n + 1 > remaining)
            break;
        out += p.first + "=" + p.second;
        out.push_back('\0');
        remaining -= n;
        if (remaining == 1)
            break;
    }
    out.push_back('\0');
    return out;
}

void check_application_form(const ConnectionString &cs, const Model &m, int32_t size)
{
    kxfuzz::Guarded buffer(static_cast<size_t>(size) + 1);
    const char *text = generate_connection_string(&cs, buffer.data(), size);
    FUZZ_CHECK(buffer.guard_intact(), "generate_connection_string wrote past %d + 1 octets",
               size);
    if (m.count == 0) {
        FUZZ_CHECK(*text == '\0' && buffer.octets()[0] == kxfuzz::Guarded::kFill,
                   "an empty record gives \"\" and leaves the buffer alone");
        return;
    }
    FUZZ_CHECK(text == buffer.data(), "the application form is in the caller's buffer");
    std::string expected = expected_application_form(m, size);
    FUZZ_CHECK(expected == text, "application form [%s], expected [%s] (size %d)", text,
               expected.c_str(), size);
}

void check_pass_on_form(const ConnectionString &cs, const Model &m)
{
    std::string expected = expected_pass_on_form(m);
    kxfuzz::Guarded buffer(expected.size() + 1);
    const char *text = generate_connection_string_ex(&cs, buffer.data());
    FUZZ_CHECK(buffer.guard_intact(), "generate_connection_string_ex wrote past its text");
    if (m.count == 0) {
        FUZZ_CHECK(*text == '\0', "an empty record gives \"\"");
        return;
    }
    FUZZ_CHECK(expected == text, "pass-on form [%s], expected [%s]", text, expected.c_str());
}

void check_attribute_list(const ConnectionString &cs, const Model &m, int32_t size)
{
    kxfuzz::Guarded buffer(static_cast<size_t>(size > 0 ? size : 0));
    char *list = generate_connection_string_config(&cs, buffer.data(), size);
    FUZZ_CHECK(buffer.guard_intact(), "generate_connection_string_config wrote past %d", size);
    if (size < 2) {
        FUZZ_CHECK(list == nullptr, "size %d gives null", size);
        return;
    }
    FUZZ_CHECK(list == buffer.data(), "the attribute list is in the caller's buffer");
    std::string expected = expected_attribute_list(m, size);
    FUZZ_CHECK(expected.size() <= static_cast<size_t>(size), "model within size");
    FUZZ_CHECK(std::memcmp(list, expected.data(), expected.size()) == 0,
               "attribute list differs from the documented one (size %d)", size);
}

// ---- generate, then parse again ----

// The pass-on form parses back into the same pairs, except where the text
// cannot carry a value: a ";" inside a value ends it early, and a value that
// opens with "{" under DRIVER, SQITARGET... or REMOTESTRING... is read in the
// braced form. Keywords that came from the scanner hold no "=".
void check_pass_on_round_trip(const ConnectionString &cs, const Model &m, MemHandle *mem)
{
    Pairs expected;
    for (const auto &p : m.pairs) {
        if (p.second.find(';') != std::string::npos ||
            (braced_keyword(p.first) && !p.second.empty() && p.second[0] == '{') ||
            p.first.find('=') != std::string::npos)
            return;
        if (!same(p.first, "ODBCDM"))
            expected.push_back(p);
    }
    std::string text = expected_pass_on_form(m);
    std::vector<char> buffer(text.size() + 1);
    const char *generated = generate_connection_string_ex(&cs, buffer.data());
    ConnectionString again;
    init_con_str(&again);
    parse_connection_string(&again, mem, generated, KX_NTS, 1);
    Pairs got = pairs_of(again);
    FUZZ_CHECK(got == expected, "[%s] parsed back as %s, expected %s", generated,
               describe(got).c_str(), describe(expected).c_str());
}

// The application form parses back into its pairs (DRIVER dropped beside
// DSN, Description dropped), with the same exclusions, and a braced value
// must not hold "}", which would end it.
void check_application_round_trip(const ConnectionString &cs, const Model &m, MemHandle *mem)
{
    bool has_dsn = false;
    for (const auto &p : m.pairs)
        has_dsn = has_dsn || same(p.first, "DSN");
    Pairs expected;
    for (const auto &p : m.pairs) {
        if (p.first.find('=') != std::string::npos)
            return;
        if ((has_dsn && same(p.first, "DRIVER")) || same(p.first, "Description"))
            continue;
        if (braced_keyword(p.first) ? p.second.find('}') != std::string::npos
                                    : p.second.find(';') != std::string::npos)
            return;
        expected.push_back(p);
    }
    if (expected.empty())
        return;   // "" parses as an empty record, not as the generated pairs
    std::string text = expected_application_form(m, 1 << 20);
    std::vector<char> buffer(text.size() + 1);
    const char *generated =
        generate_connection_string(&cs, buffer.data(), static_cast<int32_t>(text.size()));
    ConnectionString again;
    init_con_str(&again);
    parse_connection_string(&again, mem, generated, KX_NTS, 1);
    Pairs got = pairs_of(again);
    FUZZ_CHECK(got == expected, "[%s] parsed back as %s, expected %s", generated,
               describe(got).c_str(), describe(expected).c_str());
}

// The standard parser against its model, and its generator's text parsed
// back (DRIVER beside DSN and Description are never generated).
void check_standard(const std::string &text, int32_t length, int32_t flags, uint8_t size_pick,
                    MemHandle *mem)
{
    ConnectionString cs;
    int32_t status = kxstd_parse_connection_string(&cs, mem, text.data(), length, flags);
    FUZZ_CHECK(status == KXSTD_OK, "kxstd_parse_connection_string: %d", status);
    Model m = model_standard_parse(text.substr(0, static_cast<size_t>(length)), flags);
    check_same(cs, m, "kxstd_parse_connection_string");

    bool has_dsn = false;
    for (const auto &p : m.pairs)
        has_dsn = has_dsn || same(p.first, "DSN");
    Pairs expected;
    for (const auto &p : m.pairs)
        if (!(has_dsn && same(p.first, "DRIVER")) && !same(p.first, "Description"))
            expected.push_back(p);
    std::vector<char> whole(2 * text.size() + 64);
    const char *generated = kxstd_generate_connection_string(
        &cs, whole.data(), static_cast<int32_t>(whole.size() - 1));
    ConnectionString again;
    init_con_str(&again);
    FUZZ_CHECK(kxstd_parse_connection_string(&again, mem, generated, KX_NTS, 1) == KXSTD_OK,
               "parse of the generated text");
    Pairs got = pairs_of(again);
    FUZZ_CHECK(got == (m.count == 0 ? Pairs{} : expected), "[%s] parsed back as %s, expected %s",
               generated, describe(got).c_str(), describe(expected).c_str());
    // a smaller size: whole pieces only, nothing past size + 1 octets
    int32_t size = static_cast<int32_t>(std::strlen(generated) * size_pick / 255);
    kxfuzz::Guarded buffer(static_cast<size_t>(size) + 1);
    const char *cut = kxstd_generate_connection_string(&cs, buffer.data(), size);
    FUZZ_CHECK(buffer.guard_intact(), "kxstd_generate_connection_string wrote past %d + 1", size);
    FUZZ_CHECK(std::strlen(cut) <= static_cast<size_t>(size) &&
                   std::strncmp(cut, generated, std::strlen(cut)) == 0 &&
                   (cut[0] == '\0' || cut[std::strlen(cut) - 1] == ';'),
               "[%s] is no run of whole pieces of [%s] within %d", cut, generated, size);
}

void check_lookup(const ConnectionString &cs, const Model &m, const std::string &keyword)
{
    const char *got = get_attribute_value(&cs, keyword.c_str());
    const std::string *want = nullptr;
    for (const auto &p : m.pairs)
        if (want == nullptr && same(p.first, keyword))
            want = &p.second;
    if (want == nullptr) {
        FUZZ_CHECK(got == nullptr, "look-up of absent [%s] gave [%s]", keyword.c_str(), got);
        return;
    }
    FUZZ_CHECK(got != nullptr && *want == got, "look-up of [%s]", keyword.c_str());
}

// ---- the edits ----

// A keyword for an edit: one of the record's own (in another letter case
// now and then) or a text from the input.
std::string pick_keyword(kxfuzz::Reader &in, const Model &m)
{
    std::string text = in.until('\0');
    if (!m.pairs.empty() && (text.size() & 1) == 0) {
        std::string k = m.pairs[text.size() / 2 % m.pairs.size()].first;
        if (text.size() % 4 == 2)
            for (char &c : k)
                c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        return k;
    }
    return text;
}

void apply_edit(int op, kxfuzz::Reader &in, ConnectionString *cs, Model *m, MemHandle *mem)
{
    std::string keyword = pick_keyword(in, *m);
    std::string other = in.until('\0');
    switch (op % 6) {
    case 0: {   // modify: the first pair with the keyword takes the value
        modify_connection_string(cs, keyword.c_str(), other.c_str(), mem);
        for (auto &p : m->pairs)
            if (same(p.first, keyword)) {
                p.second = other;
                break;
            }
        check_same(*cs, *m, "modify_connection_string");
        break;
    }
    case 1: {   // change: the first pair with the keyword is renamed verbatim
        change_connection_string(cs, keyword.c_str(), other.c_str(), mem);
        for (auto &p : m->pairs)
            if (same(p.first, keyword)) {
                p.first = other;
                break;
            }
        check_same(*cs, *m, "change_connection_string");
        break;
    }
    case 2: {   // replace: the last pair with the old keyword, unless the new exists
        int32_t renamed = replace_connection_string(cs, keyword.c_str(), other.c_str(), mem);
        bool allowed = m->count != 0 && !keyword.empty() && !other.empty() && !m->pairs.empty();
        std::pair<std::string, std::string> *last = nullptr;
        for (auto &p : m->pairs) {
            if (same(p.first, other))
                allowed = false;
            if (same(p.first, keyword))
                last = &p;
        }
        bool expect_renamed = allowed && last != nullptr;
        if (expect_renamed)
            last->first = other;
        FUZZ_CHECK((renamed != 0) == expect_renamed, "replace [%s] by [%s] gave %d",
                   keyword.c_str(), other.c_str(), renamed);
        check_same(*cs, *m, "replace_connection_string");
        break;
    }
    case 3: {   // delete: the first pair goes, the count word stays
        delete_connection_string(cs, keyword.c_str(), mem);
        if (m->count != 0 && !keyword.empty())
            for (size_t i = 0; i < m->pairs.size(); ++i)
                if (same(m->pairs[i].first, keyword)) {
                    m->pairs.erase(m->pairs.begin() + static_cast<long>(i));
                    break;
                }
        check_same(*cs, *m, "delete_connection_string");
        break;
    }
    case 4: {   // append: replaces a present value or adds an upper-cased pair
        FUZZ_CHECK(append_pair(cs, keyword.c_str(), other.c_str(), mem) == 0, "append_pair");
        model_append(m, keyword, other);
        check_same(*cs, *m, "append_pair");
        break;
    }
    default:
        check_lookup(*cs, *m, keyword);
        break;
    }
}

void merge_model(Model *target, const Model &source)
{
    for (const auto &s : source.pairs) {
        bool found = false;
        for (auto &t : target->pairs)
            if (same(t.first, s.first)) {
                t.second = s.second;
                found = true;
            }
        if (!found)
            model_append(target, s.first, s.second);
    }
}

void check_generators(const ConnectionString &cs, const Model &m, kxfuzz::Reader &in)
{
    int32_t full = static_cast<int32_t>(expected_application_form(m, 1 << 20).size());
    check_application_form(cs, m, static_cast<int32_t>(in.in_range(0, full + 4)));
    check_application_form(cs, m, full);
    check_pass_on_form(cs, m);
    int32_t list_size = static_cast<int32_t>(expected_attribute_list(m, 1 << 20).size());
    check_attribute_list(cs, m, static_cast<int32_t>(in.in_range(0, list_size + 4)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    kxfuzz::Reader in(data, size);
    uint8_t flags = in.byte();
    uint8_t operations = in.byte();
    std::string first = in.until('\0');
    std::string second = in.until('\0');

    MemHandle *mem = kx_mem_alloc_handle(nullptr);
    if (mem == nullptr)
        return 0;

    // The first text is given with its length (a prefix of it now and then),
    // the second zero-terminated.
    ConnectionString cs;
    init_con_str(&cs);
    int32_t length = static_cast<int32_t>(first.size());
    if ((flags & 2) != 0 && length > 0)
        length = static_cast<int32_t>(operations % (first.size() + 1));
    parse_connection_string(&cs, mem, first.data(), length, flags & 1);
    Model m = model_parse(first.substr(0, static_cast<size_t>(length)), flags & 1);
    check_same(cs, m, "parse_connection_string");
    check_pass_on_round_trip(cs, m, mem);
    check_application_round_trip(cs, m, mem);
    check_standard(first, length, flags & 1, operations, mem);
    check_standard(second, static_cast<int32_t>(second.size()), (flags >> 2) & 1,
                   static_cast<uint8_t>(operations * 7), mem);

    ConnectionString source;
    init_con_str(&source);
    parse_connection_string(&source, mem, second.c_str(), KX_NTS, (flags >> 2) & 1);
    Model source_model = model_parse(second, (flags >> 2) & 1);
    check_same(source, source_model, "parse_connection_string");
    merge_connection_string(&cs, &source, mem);
    merge_model(&m, source_model);
    check_same(cs, m, "merge_connection_string");
    check_pass_on_round_trip(cs, m, mem);
    check_application_round_trip(cs, m, mem);
    check_generators(cs, m, in);

    for (int i = 0; i < 8 && !in.empty(); ++i) {
        apply_edit(in.byte(), in, &cs, &m, mem);
        check_generators(cs, m, in);
    }
    kx_mem_release_handle(mem);
    return 0;
}
