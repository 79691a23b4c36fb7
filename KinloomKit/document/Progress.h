// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <functional>
#include <limits>
#include <optional>
#include <string>

namespace kinloom {

/// Where a long piece of work (reading, scanning, writing) has got to.
struct Progress
{
    std::string stage; ///< what is being done, in the words shown to the user ("Checking place names…")
    std::optional<double> fraction; ///< how much of the whole piece of work is done, 0 to 1, when known

    bool operator==(const Progress&) const = default;
};

/// Receives progress. An empty callback costs nothing. The engine calls it on the thread that
/// called the reading, scanning or writing function, one call at a time, never per line: at
/// most about once per percent and at each change of stage.
using ProgressCallback = std::function<void(const Progress&)>;

/// Reports one stage whose amount of work is known: when it starts, each time another percent
/// of it is done, and when it ends, as a fraction of the whole between `from` and `to`. Without
/// a callback `advance` is one comparison.
class ProgressMeter
{
public:
    ProgressMeter(const ProgressCallback& callback, std::string stage, double total, double from = 0,
                  double to = 1)
        : m_callback(callback), m_stage(std::move(stage)), m_total(total), m_from(from), m_to(to)
    {
        if (!m_callback)
            return;
        m_callback({m_stage, m_from});
        if (m_total > 0)
            m_next = m_step = m_total / 100;
    }

    /// Says that `done` of the total is done.
    void advance(double done)
    {
        if (done >= m_next)
            report(done);
    }

    /// Says that the stage is done.
    void finish()
    {
        if (m_callback)
            m_callback({m_stage, m_to});
    }

private:
    void report(double done)
    {
        m_callback({m_stage, m_from + (m_to - m_from) * std::min(done / m_total, 1.0)});
        m_next = done + m_step;
    }

    const ProgressCallback& m_callback;
    std::string m_stage;
    double m_total;
    double m_from;
    double m_to;
    double m_step = 0;
    double m_next = std::numeric_limits<double>::infinity();
};

} // namespace kinloom
