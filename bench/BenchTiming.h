#pragma once

#include <QElapsedTimer>
#include <QFile>
#include <QString>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

// Timing for the benchmarks that run in one process: medians of repeated runs, reported as a
// ratio to a baseline measured in the same run.
namespace benchtiming {

inline double medianMs(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// The median of `rounds` timed runs of `work`; `prepare` runs before each, untimed.
inline double timeMs(
    const std::function<void()>& work, const std::function<void()>& prepare = [] {},
    int rounds = 21) {
    std::vector<double> samples;
    for (int i = 0; i < rounds; ++i) {
        prepare();
        QElapsedTimer timer;
        timer.start();
        work();
        samples.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    return medianMs(samples);
}

inline QByteArray rawRead(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(path));
    return file.readAll();
}

inline void report(const char* what, double ms, double baselineMs) {
    std::printf("%-52s %9.3f ms  x%.1f\n", what, ms, ms / baselineMs);
}

} // namespace benchtiming
