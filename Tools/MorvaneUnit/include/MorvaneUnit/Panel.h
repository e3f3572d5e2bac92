// The unit's front panel and controls: the rows of the status table, the gain reduction meters,
// the clip word and the balance. Thread-safe; every member locks.
#pragma once

#include <chrono>
#include <mutex>
#include <string>

namespace morvane::sim
{

constexpr int rowCount = 23; // rows 0..22; 22 (High Gain) is written but never reported
constexpr int reportedRows = 22;
constexpr int modeRow = 10;
constexpr int lampRow = 14;
constexpr int meterRow = 6;
constexpr int brightnessRow = 7;
constexpr int autoGainRow = 5;
constexpr int highGainRow = 22;

struct RowState
{
    int value = 0;
    int max = 0;
    int min = 0;
    bool held = false;
};

// Everything the front panel shows, taken under one lock.
struct PanelView
{
    RowState rows[rowCount];
    double compLeft = 0, compRight = 0;
    int clip = 0;
    bool program = false;
    double balance = 0;
};

class Panel
{
public:
    using Clock = std::chrono::steady_clock;

    Panel();

    RowState row(int r) const;
    PanelView view() const;
    bool validRow(int r) const { return r >= 0 && r < rowCount; }

    // A value from the wire: clamped to the row's range (rows 5, 14, 22 snap to their two states).
    // Returns false, leaving the row alone, while the row is held on the panel.
    bool write(int r, double value);
    void set(int r, double value); // the same without regard to the held flag

    // The hand on a control: held up, value gliding to target over ms (0: at once).
    void turn(int r, double target, int ms);
    void touch(int r);
    void release(int r);
    void releaseAll();

    void setMode(int position); // 0..11, keeps the channel mode
    void setDual(bool dual);
    int mode() const;
    bool dual() const;
    void pressLamp();

    void setComp(double left, double right); // thousandths of a dB, switches the program off
    void setProgram(bool sine);
    bool program() const;
    void setClip(int clip);
    void setBalance(double balance);
    double balance() const;

    // Advances glides and the gain reduction program.
    void tick(Clock::time_point now);

    // {"Potis":[[v, max, min, 0, held],...],"comp":[l, r],"clip":n} with extraRows zero rows before
    // "comp" and, for /info, ,"port": P before the closing brace (port < 0: none).
    std::string statusMessage(int port = -1, int extraRows = 0) const;
    std::string balanceText() const;

private:
    struct Glide
    {
        bool active = false;
        double from = 0, to = 0;
        Clock::time_point start;
        int ms = 0;
    };

    int normalise(int r, double value) const;
    void applyLocked(int r, double value);

    mutable std::mutex mutex_;
    RowState rows_[rowCount];
    Glide glides_[rowCount];
    double compLeft_ = 0, compRight_ = 0;
    int clip_ = 0;
    bool program_ = false;
    Clock::time_point programStart_;
    double balance_ = 0;
};

std::string formatNumber(double v); // integers without a fraction, else up to three decimals

} // namespace morvane::sim
