#include "MorvaneUnit/Panel.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>

namespace morvane::sim
{
namespace
{
struct RowSpec
{
    int min, max, initial;
};

// Each control in the unit's own units. 4, 9 and 13 are not used: maximum equals minimum.
constexpr RowSpec rowTable[rowCount] = {
    {1, 500, 30},    // 0 Attack L, tenths of a ms
    {10, 2500, 300}, // 1 Release L, ms
    {0, 1023, 512},  // 2 Input L
    {0, 1023, 512},  // 3 Output L
    {0, 0, 0},       // 4
    {0, 255, 0},     // 5 Auto Gain: 0 or 255
    {1, 21, 1},      // 6 VU-meter face
    {1, 100, 80},    // 7 brightness
    {0, 600, 300},   // 8 Threshold L
    {0, 0, 0},       // 9
    {0, 23, 0},      // 10 mode, +12 in dual mono
    {20, 500, 80},   // 11 Sidechain L, Hz
    {0, 100, 100},   // 12 Mix L, percent
    {0, 0, 0},       // 13
    {0, 1, 0},       // 14 lamp button
    {1, 500, 30},    // 15 Attack R
    {10, 2500, 300}, // 16 Release R
    {0, 1023, 512},  // 17 Input R
    {0, 1023, 512},  // 18 Output R
    {0, 600, 300},   // 19 Threshold R
    {20, 500, 80},   // 20 Sidechain R
    {0, 100, 100},   // 21 Mix R
    {0, 1, 0},       // 22 High Gain, write only
};

constexpr double programPeriodSeconds = 6.0;
constexpr double programDepth = 12000.0; // the needles swing from 0 to -24 dB
} // namespace

std::string formatNumber(double v)
{
    char buf[64];
    if (std::floor(v) == v && std::fabs(v) < 1e15)
        std::snprintf(buf, sizeof buf, "%lld", static_cast<long long>(v));
    else
    {
        std::snprintf(buf, sizeof buf, "%.3f", v);
        std::string s(buf);
        while (!s.empty() && s.back() == '0')
            s.pop_back();
        return s;
    }
    return buf;
}

Panel::Panel()
{
    for (int r = 0; r < rowCount; ++r)
        rows_[r] = RowState{rowTable[r].initial, rowTable[r].max, rowTable[r].min, false};
    programStart_ = Clock::now();
}

RowState Panel::row(int r) const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return validRow(r) ? rows_[r] : RowState{};
}

PanelView Panel::view() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    PanelView v;
    std::copy(std::begin(rows_), std::end(rows_), std::begin(v.rows));
    v.compLeft = compLeft_;
    v.compRight = compRight_;
    v.clip = clip_;
    v.program = program_;
    v.balance = balance_;
    return v;
}

int Panel::normalise(int r, double value) const
{
    if (!std::isfinite(value))
        value = 0;
    const RowState& row = rows_[r];
    long v = std::lround(std::clamp(value, static_cast<double>(row.min), static_cast<double>(row.max)));
    if (r == autoGainRow)
        v = v >= 128 ? 255 : 0;
    return static_cast<int>(v);
}

void Panel::applyLocked(int r, double value)
{
    rows_[r].value = normalise(r, value);
    glides_[r].active = false;
}

bool Panel::write(int r, double value)
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (!validRow(r) || rows_[r].held)
        return false;
    applyLocked(r, value);
    return true;
}

void Panel::set(int r, double value)
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (validRow(r))
        applyLocked(r, value);
}

void Panel::turn(int r, double target, int ms)
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (!validRow(r))
        return;
    rows_[r].held = true;
    if (ms <= 0)
    {
        applyLocked(r, target);
        return;
    }
    glides_[r] = Glide{true, static_cast<double>(rows_[r].value), target, Clock::now(), ms};
}

void Panel::touch(int r)
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (validRow(r))
        rows_[r].held = true;
}

void Panel::release(int r)
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (!validRow(r))
        return;
    if (glides_[r].active)
        applyLocked(r, glides_[r].to);
    rows_[r].held = false;
}

void Panel::releaseAll()
{
    for (int r = 0; r < rowCount; ++r)
        release(r);
}

void Panel::setMode(int position)
{
    std::lock_guard<std::mutex> lock(mutex_);
    const bool dual = rows_[modeRow].value >= 12;
    applyLocked(modeRow, std::clamp(position, 0, 11) + (dual ? 12 : 0));
}

void Panel::setDual(bool dual)
{
    std::lock_guard<std::mutex> lock(mutex_);
    applyLocked(modeRow, rows_[modeRow].value % 12 + (dual ? 12 : 0));
}

int Panel::mode() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return rows_[modeRow].value % 12;
}

bool Panel::dual() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return rows_[modeRow].value >= 12;
}

void Panel::pressLamp()
{
    std::lock_guard<std::mutex> lock(mutex_);
    applyLocked(lampRow, rows_[lampRow].value ? 0 : 1);
}

void Panel::setComp(double left, double right)
{
    std::lock_guard<std::mutex> lock(mutex_);
    program_ = false;
    compLeft_ = left;
    compRight_ = right;
}

void Panel::setProgram(bool sine)
{
    std::lock_guard<std::mutex> lock(mutex_);
    program_ = sine;
    programStart_ = Clock::now();
}

bool Panel::program() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return program_;
}

void Panel::setClip(int clip)
{
    std::lock_guard<std::mutex> lock(mutex_);
    clip_ = clip;
}

void Panel::setBalance(double balance)
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (std::isfinite(balance))
        balance_ = std::clamp(balance, -10.0, 10.0);
}

double Panel::balance() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return balance_;
}

std::string Panel::balanceText() const
{
    return formatNumber(balance());
}

void Panel::tick(Clock::time_point now)
{
    std::lock_guard<std::mutex> lock(mutex_);
    for (int r = 0; r < rowCount; ++r)
    {
        Glide& g = glides_[r];
        if (!g.active)
            continue;
        const double elapsed = std::chrono::duration<double, std::milli>(now - g.start).count();
        const double f = std::clamp(elapsed / g.ms, 0.0, 1.0);
        rows_[r].value = normalise(r, g.from + (g.to - g.from) * f);
        g.active = f < 1.0;
    }
    if (program_)
    {
        const double t = std::chrono::duration<double>(now - programStart_).count();
        const double phase = 2.0 * 3.14159265358979323846 * t / programPeriodSeconds;
        compLeft_ = std::round(-programDepth * (1.0 - std::cos(phase)));
        compRight_ = std::round(-programDepth * (1.0 - std::cos(phase + 0.8)));
    }
}

std::string Panel::statusMessage(int port, int extraRows) const
{
    std::lock_guard<std::mutex> lock(mutex_);
    std::string s = "{\"Potis\":[";
    for (int r = 0; r < reportedRows + extraRows; ++r)
    {
        const RowState row = r < reportedRows ? rows_[r] : RowState{};
        char buf[96];
        std::snprintf(buf, sizeof buf, "%s[%d, %d, %d, 0, %d]", r ? "," : "", row.value, row.max, row.min,
                      row.held ? 1 : 0);
        s += buf;
    }
    s += "],\"comp\":[" + formatNumber(compLeft_) + ", " + formatNumber(compRight_) +
         "],\"clip\":" + std::to_string(clip_);
    if (port >= 0)
        s += ",\"port\": " + std::to_string(port);
    return s + "}";
}

} // namespace morvane::sim
