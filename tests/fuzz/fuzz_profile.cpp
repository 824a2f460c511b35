// Fuzz target for the profile file: the input is written as an odbc.ini
// image into a private directory, one setting is read from it
// (get_profile_string, get_default) and one written into it
// (set_profile_string), and the file is read again. Exports
// LLVMFuzzerTestOneInput.
//
// Input: [mode] [output size] file image \0 section \0 key \0 value \0
// default \0 (zero octets inside the image would end the lines early for
// the C string routines of a reader, so the image holds none).
//
// The expected read comes from a model of the documented reader kept here
// (255-octet line pieces, comments, the three header kinds, the first
// section of the name that has lines, keys and values trimmed of blanks,
// empty values skipped, the copy rule that cuts an overlong value to the
// output size less one, its last character "0").
// Properties: the read gives the model's output and never writes past the
// output size; get_default reads the data source's section, or {default};
// a write of a line break is refused and leaves the file as it was; a write
// keeps the old file as the "~" backup, and a setting written into a section
// that has lines is read back; a missing file reads as the default with -1
// and an error text.
// The standard store on the same input: kxstd_get_profile_string gives the
// model's value (trailing blanks gone) or the default, cut to the size less
// one and terminated, and counts what it copied; kxstd_set_profile_string,
// on a copy of the image, either refuses (and leaves the file as it was) or
// writes a setting that reads back, and every other setting of the file
// reads as before (where every section name of the mode's kind is used once
// and no line passes 254 octets, the reader taking longer lines in pieces).
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cstring>
#include <string>
#include <vector>
#include <strings.h>

#include "fuzz/fuzz_support.h"

namespace {

const char kOpen[3] = {'{', '(', '['};
const char kClose[3] = {'}', ')', ']'};

int bracket_index(int32_t mode) { return mode == 0 ? 0 : mode == 1 ? 1 : 2; }

bool same(const std::string &a, const std::string &b)
{
    return strcasecmp(a.c_str(), b.c_str()) == 0;
}

bool blank(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

// The file as the reader sees it: pieces of at most 255 octets, each line's
// newline removed.
std::vector<std::string> line_pieces(const std::string &image)
{
    std::vector<std::string> pieces;
    size_t at = 0;
    while (at < image.size()) {
        size_t n = 0;
        while (at + n < image.size() && n < 255 && image[at + n] != '\n')
            ++n;
        bool newline = at + n < image.size() && n < 255 && image[at + n] == '\n';
        pieces.push_back(image.substr(at, n));
        at += n + (newline ? 1 : 0);
    }
    return pieces;
}

bool is_header_start(char c) { return c == '[' || c == '{' || c == '('; }

// The value the reader takes for key in section, or false when it takes
// none (the default stands).
bool model_lookup(const std::string &image, int32_t mode, const std::string &section,
                  const std::string &key, std::string *value)
{
    char open = kOpen[bracket_index(mode)], close = kClose[bracket_index(mode)];
    bool in_section = false, seen = false;
    std::string current;
    for (const std::string &line : line_pieces(image)) {
        if (!line.empty() && line[0] == '#')
            continue;
        if (!line.empty() && line[0] == open) {
            size_t end = line.find(close, 1);
            if (end == std::string::npos)
                continue;
            if (seen)
                return false;
            current = line.substr(1, end - 1);
            in_section = true;
            continue;
        }
        if (!line.empty() && is_header_start(line[0])) {
            in_section = false;
            continue;
        }
        if (!in_section || !same(current, section))
            continue;
        seen = true;
        size_t equals = line.find('=');
        if (equals == std::string::npos)
            continue;
        std::string k = line.substr(0, equals);
        while (!k.empty() && blank(k.back()))
            k.pop_back();
        size_t first = equals + 1;
        while (first < line.size() && blank(line[first]))
            ++first;
        std::string v = line.substr(first);
        if (v.empty())
            continue;
        if (same(k, key)) {
            *value = v;
            return true;
        }
    }
    return false;
}

// The copy rule: characters while the room count is at least 2; an
// overlong text is cut to size - 1 characters, the last of them "0", and
// terminated (this build terminates overlong values).
std::string copied(const std::string &text, int32_t size, bool *terminated)
{
    *terminated = true;
    if (text.size() + 1 <= static_cast<size_t>(size))
        return text + std::string(1, '\0');
    *terminated = false;
    if (size < 2)
        return std::string(1, '\0');
    return text.substr(0, static_cast<size_t>(size) - 2) + "0" + std::string(1, '\0');
}

std::string model_read(const std::string &image, int32_t mode, const std::string &section,
                       const std::string &key, const std::string &default_value, int32_t size)
{
    std::string value;
    bool terminated;
    if (!model_lookup(image, mode, section, key, &value))
        return copied(default_value, size, &terminated);
    std::string out = copied(value, size, &terminated);
    if (terminated) {   // an overlong value ends in "0", never in a blank
        out.pop_back();
        while (!out.empty() && blank(out.back()))
            out.pop_back();
        out.push_back('\0');
    }
    return out;
}

// A section of the selected kind that holds at least one line, as the
// writer looks for it.
bool section_has_lines(const std::string &image, int32_t mode, const std::string &section)
{
    char open = kOpen[bracket_index(mode)], close = kClose[bracket_index(mode)];
    bool in_section = false;
    std::string current;
    for (const std::string &line : line_pieces(image)) {
        if (!line.empty() && line[0] == '#')
            continue;
        if (!line.empty() && line[0] == open) {
            size_t end = line.find(close, 1);
            if (end != std::string::npos) {
                current = line.substr(1, end - 1);
                in_section = true;
            }
            continue;
        }
        if (!line.empty() && is_header_start(line[0])) {
            in_section = false;
            continue;
        }
        if (in_section && same(current, section))
            return true;
    }
    return false;
}

bool has_line_break(const std::string &s)
{
    return s.find('\n') != std::string::npos || s.find('\r') != std::string::npos;
}

void check_read(ProfileHandle *h, const std::string &image, int32_t mode,
                const std::string &section, const std::string &key,
                const std::string &default_value, int32_t size)
{
    kxfuzz::Guarded output(static_cast<size_t>(size));
    int32_t code = get_profile_string(h, mode, section.c_str(), key.c_str(),
                                      default_value.c_str(), output.data(), size);
    FUZZ_CHECK(code == 0, "reading an existing file: %d (%s)", code, registry_error(h));
    FUZZ_CHECK(output.guard_intact(), "get_profile_string wrote past %d octets", size);
    std::string want = model_read(image, mode, section, key, default_value, size);
    FUZZ_CHECK(std::memcmp(output.data(), want.data(), want.size()) == 0,
               "mode %d [%s] %s: read [%.*s], expected [%.*s]", mode, section.c_str(),
               key.c_str(), static_cast<int>(want.size()), output.data(),
               static_cast<int>(want.size()), want.c_str());
}

std::string without_trailing_blanks(std::string s)
{
    while (!s.empty() && blank(s.back()))
        s.pop_back();
    return s;
}

void check_standard_read(ProfileHandle *h, const std::string &image, int32_t mode,
                         const std::string &section, const std::string &key,
                         const std::string &default_value, int32_t size)
{
    kxfuzz::Guarded output(static_cast<size_t>(size));
    int32_t copied = kxstd_get_profile_string(h, mode, section.c_str(), key.c_str(),
                                              default_value.c_str(), output.data(), size);
    FUZZ_CHECK(output.guard_intact(), "kxstd_get_profile_string wrote past %d octets", size);
    std::string value;
    std::string whole = model_lookup(image, mode, section, key, &value)
                            ? without_trailing_blanks(value)
                            : default_value.substr(0, std::strlen(default_value.c_str()));
    std::string want = whole.substr(0, static_cast<size_t>(size - 1));
    FUZZ_CHECK(copied == static_cast<int32_t>(want.size()) &&
                   std::memcmp(output.data(), want.c_str(), want.size() + 1) == 0,
               "standard read [%s] %s: %d [%.*s], expected [%s]", section.c_str(), key.c_str(),
               copied, size, output.data(), want.c_str());
}

// The settings of a file: each key line of a section of the mode's kind, as
// (section, key); empty when a section name is used twice or a line is
// longer than the reader's pieces.
std::vector<std::pair<std::string, std::string>> settings_of(const std::string &image,
                                                             int32_t mode, bool *simple)
{
    char open = kOpen[bracket_index(mode)], close = kClose[bracket_index(mode)];
    std::vector<std::pair<std::string, std::string>> settings;
    std::vector<std::string> names;
    std::string current;
    bool in_section = false;
    *simple = true;
    for (const std::string &line : line_pieces(image)) {
        if (line.size() >= 254)
            *simple = false;
        if (!line.empty() && line[0] == '#')
            continue;
        if (!line.empty() && line[0] == open) {
            size_t end = line.find(close, 1);
            if (end == std::string::npos)
                continue;
            current = line.substr(1, end - 1);
            for (const std::string &n : names)
                if (same(n, current))
                    *simple = false;
            names.push_back(current);
            in_section = true;
            continue;
        }
        if (!line.empty() && is_header_start(line[0])) {
            in_section = false;
            continue;
        }
        size_t equals = line.find('=');
        if (in_section && equals != std::string::npos && settings.size() < 24) {
            std::string k = line.substr(0, equals);
            while (!k.empty() && blank(k.back()))
                k.pop_back();
            settings.emplace_back(current, k);
        }
    }
    return settings;
}

void check_standard_write(const std::string &dir, const std::string &image, int32_t mode,
                          const std::string &section, const std::string &key,
                          const std::string &value, uint8_t what)
{
    const std::string path = dir + "/standard.ini";
    if (!kxfuzz::write_whole_file(path, image))
        return;
    ProfileHandle *h = open_registry();
    if (h == nullptr)
        return;
    set_config(h, path.c_str());
    bool simple = false;
    auto settings = settings_of(image, mode, &simple);
    auto read = [&](const std::string &s, const std::string &k) {
        std::vector<char> out(300, 'x');
        kxstd_get_profile_string(h, mode, s.c_str(), k.c_str(), "<none>", out.data(), 300);
        return std::string(out.data());
    };
    std::vector<std::string> before;
    for (const auto &sk : settings)
        before.push_back(read(sk.first, sk.second));
    // a setting, or now and then the removal of the key or the section
    const char *k = (what & 7) == 0 ? nullptr : key.c_str();
    const char *v = (what & 7) <= 1 ? nullptr : value.c_str();
    int32_t written = kxstd_set_profile_string(h, mode, section.c_str(), k, v);
    if (written != 0) {
        FUZZ_CHECK(std::strncmp(registry_error(h), "Refused to write to ", 20) == 0,
                   "the standard write failed: %s", registry_error(h));
        FUZZ_CHECK(kxfuzz::read_whole_file(path) == image, "a refused write leaves the file");
        close_registry(h);
        return;
    }
    if (k != nullptr && v != nullptr && simple) {
        size_t first = 0;
        while (first < value.size() && blank(value[first]))
            ++first;
        std::string expected = without_trailing_blanks(value.substr(first));
        if (!expected.empty() && !blank(key.back()))
            FUZZ_CHECK(read(section, key) == expected, "wrote [%s] = [%s] in [%s], read back [%s]",
                       key.c_str(), value.c_str(), section.c_str(), read(section, key).c_str());
    }
    if (k != nullptr && v == nullptr && simple)
        FUZZ_CHECK(read(section, key) == "<none>", "a removed key reads as the default");
    if (simple)
        for (size_t i = 0; i < settings.size(); ++i) {
            if (same(settings[i].first, section) && (k == nullptr || same(settings[i].second, key)))
                continue;
            FUZZ_CHECK(read(settings[i].first, settings[i].second) == before[i],
                       "[%s] %s changed by a write of [%s] %s", settings[i].first.c_str(),
                       settings[i].second.c_str(), section.c_str(), key.c_str());
        }
    close_registry(h);
    unlink(path.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string &dir = kxfuzz::process_temp_dir("kxfuzzprofile");
    if (dir.empty())
        return 0;
    kxfuzz::Reader in(data, size);
    int32_t mode = in.byte() % 3;
    int32_t output_size = 1 + in.byte() % 96;
    std::string image = in.until('\0');
    std::string section = in.until('\0');
    std::string key = in.until('\0');
    std::string value = in.until('\0');
    std::string default_value = in.until('\0');

    const std::string path = dir + "/odbc.ini";
    const std::string backup = path + "~";
    unlink(backup.c_str());
    if (!kxfuzz::write_whole_file(path, image))
        return 0;
    ProfileHandle *h = open_registry();
    if (h == nullptr)
        return 0;
    set_config(h, path.c_str());

    check_read(h, image, mode, section, key, default_value, output_size);
    check_standard_read(h, image, mode, section, key, default_value, output_size);
    check_standard_write(dir, image, mode, section, key, value,
                         static_cast<uint8_t>(output_size + image.size()));

    // get_default: the data source's section when one is set, else {default}
    // (an empty name is no data source).
    std::vector<char> by_default(130, 'x'), direct(130, 'x');
    bool with_dsn = !section.empty() && section.size() < 200 && (mode & 1) == 0;
    set_dsn(h, with_dsn ? section.c_str() : nullptr);
    get_default(h, key.c_str(), by_default.data(), 128);
    get_profile_string(h, with_dsn ? 2 : 0, with_dsn ? section.c_str() : "default", key.c_str(),
                       "", direct.data(), 128);
    FUZZ_CHECK(by_default == direct, "get_default differs from the section it reads");

    // The write.
    int32_t written = set_profile_string(h, mode, section.c_str(), key.c_str(), value.c_str());
    if (has_line_break(section) || has_line_break(key) || has_line_break(value)) {
        FUZZ_CHECK(written == -1, "a line break is refused");
        FUZZ_CHECK(kxfuzz::read_whole_file(path) == image, "a refused write leaves the file");
    } else {
        FUZZ_CHECK(written == 0, "set_profile_string: %d (%s)", written, registry_error(h));
        FUZZ_CHECK(kxfuzz::read_whole_file(backup) == image, "the old file is the backup");
        // Read back when the setting can stand as one key line: a section
        // with lines to write into, no piece of a line longer than 255
        // octets (the rewrite ends each piece with a line break), a key
        // that reads as itself (no "=", no blank at its end, not a comment
        // or a header) and a value that is not empty once its leading
        // blanks are gone.
        bool long_lines = false;
        for (const std::string &line : line_pieces(image))
            long_lines = long_lines || line.size() >= 255;
        size_t value_start = 0;
        while (value_start < value.size() && blank(value[value_start]))
            ++value_start;
        std::string trimmed = value.substr(value_start);
        while (!trimmed.empty() && blank(trimmed.back()))
            trimmed.pop_back();
        bool key_reads = !key.empty() && key.find('=') == std::string::npos &&
                         !blank(key.back()) && key[0] != '#' && !is_header_start(key[0]) &&
                         key.size() + value.size() < 200;
        if (section_has_lines(image, mode, section) && !long_lines && key_reads &&
            !trimmed.empty() && section.find(kClose[bracket_index(mode)]) == std::string::npos) {
            std::vector<char> back(256, 'x');
            get_profile_string(h, mode, section.c_str(), key.c_str(), "", back.data(), 256);
            FUZZ_CHECK(trimmed == back.data(), "wrote [%s] = [%s] in [%s], read back [%s]",
                       key.c_str(), value.c_str(), section.c_str(), back.data());
        }
    }

    // A missing file: the default, -1 and the reason.
    unlink(path.c_str());
    kxfuzz::Guarded output(static_cast<size_t>(output_size));
    int32_t code = get_profile_string(h, mode, section.c_str(), key.c_str(),
                                      default_value.c_str(), output.data(), output_size);
    bool terminated;
    std::string want = copied(default_value, output_size, &terminated);
    FUZZ_CHECK(code == -1 && std::memcmp(output.data(), want.data(), want.size()) == 0 &&
                   output.guard_intact(),
               "a missing file reads as the default");
    FUZZ_CHECK(std::strncmp(registry_error(h), "Failed to open ", 15) == 0,
               "error text [%s]", registry_error(h));
    close_registry(h);
    unlink(backup.c_str());
    return 0;
}
