// A realtime clock that a test can script, for the tests of "now".
//
// Included by exactly one source file of a test program, it defines time()
// and clock_gettime() in the program itself, so that the library (linked
// statically) reads them instead of the C library's. Unscripted they ask
// the kernel, as the C library would; while a script is set, each reading
// of the realtime clock (time(), or clock_gettime(CLOCK_REALTIME)) takes
// the script's next instant (the last one repeats) and is counted. Other
// clocks are never scripted (GoogleTest times its tests with the monotonic
// one).
#ifndef KX_TEST_SCRIPTED_CLOCK_H
#define KX_TEST_SCRIPTED_CLOCK_H

#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace kxtest {

struct ClockScript {
    const struct timespec *readings = nullptr;
    int count = 0;
    int next = 0;
    int calls = 0;  // realtime readings while the script was set
};

inline ClockScript g_clock_script;

inline bool scripted_reading(struct timespec *ts)
{
    ClockScript &s = g_clock_script;
    if (s.readings == nullptr || s.count == 0)
        return false;
    ++s.calls;
    *ts = s.readings[s.next < s.count ? s.next++ : s.count - 1];
    return true;
}

// Sets a script for the life of the object, in the time zone zone (TZ),
// and restores the real clock and the zone after it.
class ScriptedClock {
public:
    template <int N>
    ScriptedClock(const struct timespec (&readings)[N], const char *zone = "UTC")
    {
        const char *old = std::getenv("TZ");
        had_zone_ = old != nullptr;
        if (had_zone_)
            old_zone_ = old;
        setenv("TZ", zone, 1);
        tzset();
        g_clock_script = ClockScript{readings, N, 0, 0};
    }
    ~ScriptedClock()
    {
        g_clock_script = ClockScript{};
        if (had_zone_)
            setenv("TZ", old_zone_.c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }
    ScriptedClock(const ScriptedClock &) = delete;
    ScriptedClock &operator=(const ScriptedClock &) = delete;

    int calls() const { return g_clock_script.calls; }

private:
    bool had_zone_ = false;
    std::string old_zone_;
};

}  // namespace kxtest

extern "C" int clock_gettime(clockid_t id, struct timespec *ts) noexcept
{
    if (id == CLOCK_REALTIME && kxtest::scripted_reading(ts))
        return 0;
    return static_cast<int>(syscall(SYS_clock_gettime, id, ts));
}

extern "C" time_t time(time_t *out) noexcept
{
    struct timespec ts = {};
    if (!kxtest::scripted_reading(&ts))
        syscall(SYS_clock_gettime, CLOCK_REALTIME, &ts);
    if (out != nullptr)
        *out = ts.tv_sec;
    return ts.tv_sec;
}

#endif
