// Internal hooks of the profile store (config/registry.cpp), for the tests,
// the benchmark and the standard family's writer (config/registry_std.cpp),
// and the growing text both writers build a file in.
// Not part of the public headers.
#ifndef KXSUPP_CONFIG_REGISTRY_INTERNAL_H
#define KXSUPP_CONFIG_REGISTRY_INTERNAL_H

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace kx {

// Turns the process-wide cache of parsed profile files on (the default) or
// off. With the cache off every read scans the file line by line with fgets.
void profile_cache_enable(bool on);

// Forgets every cached file.
void profile_cache_clear();

// Number of reads answered from the cache since the process started (a
// counter for tests that check that a changed file is read again).
unsigned long profile_cache_hits();

// Forgets the cached form of the file at path (after a write).
void profile_forget(const char *path);

// The file a write to path goes to: path itself, or the file a symbolic
// link at path leads to (set_profile_string's rule), into out.
void profile_write_target(const char *path, char *out, size_t size);

// A growing output text that both profile writers build a file in: the
// octets appended so far, in a malloc'ed area doubled as it fills (from
// 4096 octets); once an allocation fails, failed is set and nothing more
// is appended. The owner frees data.
struct ProfileText {
    char *data = nullptr;
    size_t length = 0;
    size_t capacity = 0;
    bool failed = false;
};

inline void append(ProfileText *text, const char *piece, size_t n)
{
    if (text->failed)
        return;
    if (text->length + n + 1 > text->capacity) {
        size_t capacity = text->capacity == 0 ? 4096 : text->capacity;
        while (text->length + n + 1 > capacity)
            capacity *= 2;
        char *bigger = static_cast<char *>(std::realloc(text->data, capacity));
        if (bigger == nullptr) {
            text->failed = true;
            return;
        }
        text->data = bigger;
        text->capacity = capacity;
    }
    std::memcpy(text->data + text->length, piece, n);
    text->length += n;
}

inline void append_str(ProfileText *text, const char *piece)
{
    append(text, piece, std::strlen(piece));
}

}  // namespace kx

#endif
