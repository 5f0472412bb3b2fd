// DOS behind the nodes and the batches, each part on keldts boards of its own:
//
//   latency  connect to the first byte of the node's greeting: a DOS program on DOSBox's COM1
//            (the built-in profile, through the serial relay) beside the demo node, in turns.
//   idle     keldts's CPU time and resident size with four DOS nodes on the line and idle,
//            beside the same server with none; the emulators' CPU time beside it.
//   minute   from the start of a minute to the start of the batch of an event due in it.
//
//   keldts_dos_bench [--only latency|idle|minute] [--samples N] [--idle-seconds S]
//
// Exits 1 when a part could not be measured.

#include "BenchSupport.h"

#include <QDateTime>
#include <QFile>

#include <cstdio>
#include <sys/socket.h>
#include <unistd.h>

using namespace bench;

namespace {

const QByteArray kDemoGreeting = "\r\nWelcome";
const QByteArray kDosGreeting = "Hello from DOS";

bool replaceFile(const QString& path, const QByteArray& bytes) {
    QFile::remove(path);
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

bool useRunner(const BenchBoard& board, const QByteArray& runner) {
    const QString ini = board.mainDir() + QStringLiteral("/KELDTS.INI");
    QFile file(ini);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    QByteArray text = file.readAll();
    file.close();
    text.replace("run=\n", "run=" + runner + "\n");
    return replaceFile(ini, text);
}

// A board whose nodes run the test's DOS program in DOSBox.
bool writeDosBoard(BenchBoard& board, int channels) {
    return board.write(freePort(), channels) && useRunner(board, "dosbox") &&
           replaceFile(board.mainDir() + QStringLiteral("/LOADBBS.BAT"),
                       "@ECHO OFF\r\nECHOCOM.COM\r\n") &&
           QFile::copy(QStringLiteral(ECHOCOM_PATH),
                       board.mainDir() + QStringLiteral("/ECHOCOM.COM"));
}

bool nodeOneWaits(const BenchBoard& board) {
    return waitFor(
        [&] { return board.ctl(QStringLiteral("nodes")).startsWith("Node 1 - Waiting"); }, 20000);
}

int latency(int samples) {
    BenchBoard demo;
    BenchBoard dos;
    if (!demo.write(freePort(), 4) || !writeDosBoard(dos, 4) || !demo.start() || !dos.start())
        return 1;
    std::vector<double> demoSeconds, dosSeconds;
    Clock::time_point lastDemo{}, lastDos{};
    for (int i = 0; i < samples; ++i) {
        double seconds = 0;
        int fd = admittedCaller(demo.port(), lastDemo, kDemoGreeting, &seconds);
        if (fd < 0)
            return 1;
        demoSeconds.push_back(seconds);
        ::close(fd);
        fd = admittedCaller(dos.port(), lastDos, kDosGreeting, &seconds);
        if (fd < 0)
            return 1;
        dosSeconds.push_back(seconds);
        // The program leaves on "q", and the node with it.
        if (::send(fd, "q", 1, MSG_NOSIGNAL) != 1)
            return 1;
        pauseMs(300);
        ::close(fd);
        if (!nodeOneWaits(demo) || !nodeOneWaits(dos))
            return 1;
    }
    const double demoMedian = median(demoSeconds);
    const double dosMedian = median(dosSeconds);
    std::printf("connect to the node's first line, %d calls each, median (min-max):\n", samples);
    std::printf("  demo node           %8.1f ms (%.1f-%.1f)\n", demoMedian * 1000,
                *std::min_element(demoSeconds.begin(), demoSeconds.end()) * 1000,
                *std::max_element(demoSeconds.begin(), demoSeconds.end()) * 1000);
    std::printf("  DOS node in DOSBox  %8.1f ms (%.1f-%.1f)  x%.1f the demo node\n",
                dosMedian * 1000, *std::min_element(dosSeconds.begin(), dosSeconds.end()) * 1000,
                *std::max_element(dosSeconds.begin(), dosSeconds.end()) * 1000,
                dosMedian / demoMedian);
    return 0;
}

double emulatorCpu(const BenchBoard& board) {
    double total = 0;
    for (pid_t pid : processesWith("dosbox", board.mainDir()))
        total += cpuSeconds(pid);
    return total;
}

int idle(int seconds) {
    BenchBoard dos;
    if (!writeDosBoard(dos, 4) || !dos.start())
        return 1;
    pauseMs(2000);
    const auto measure = [&](double* server, double* emulators) {
        const double serverBefore = cpuSeconds(dos.pid());
        const double emulatorsBefore = emulatorCpu(dos);
        pauseMs(seconds * 1000);
        *server = cpuSeconds(dos.pid()) - serverBefore;
        *emulators = emulatorCpu(dos) - emulatorsBefore;
    };
    double baseline = 0, unused = 0;
    measure(&baseline, &unused);
    const ProcessFigures before = figures(dos.pid());
    std::vector<int> callers;
    Clock::time_point last{};
    for (int node = 1; node <= 4; ++node) {
        const int fd = admittedCaller(dos.port(), last, kDosGreeting);
        if (fd < 0)
            return 1;
        callers.push_back(fd);
    }
    pauseMs(2000);
    double server = 0, emulators = 0;
    measure(&server, &emulators);
    const ProcessFigures during = figures(dos.pid());
    std::printf("over %d s: keldts CPU %.3f s with no caller, %.3f s with four idle DOS nodes "
                "(x%.2f); the four DOSBox processes %.1f s\n",
                seconds, baseline, server, baseline > 0 ? server / baseline : 0.0, emulators);
    std::printf("keldts resident size: %ld kB with no caller, %ld kB with four DOS nodes\n",
                before.rssKb, during.rssKb);
    for (int fd : callers)
        ::close(fd);
    return 0;
}

// The batch of an event due in the next minute starts a script that notes when it ran.
int minute() {
    BenchBoard board;
    if (!board.write(freePort(), 0))
        return 1;
    const QString started = board.mainDir() + QStringLiteral("/started");
    const QString runner = board.mainDir() + QStringLiteral("/note-start");
    if (!replaceFile(runner, "#!/bin/sh\ndate +%s.%N > " + started.toUtf8() + "\n") ||
        !QFile::setPermissions(runner, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner) ||
        !useRunner(board, runner.toUtf8()) ||
        !writeI16(board.mainDir() + QStringLiteral("/KELDTS.CFG"), 114, 1)) // keldevents
        return 1;
    const QDateTime now = QDateTime::currentDateTime();
    QDateTime due = now.addSecs(60);
    due.setTime(QTime(due.time().hour(), due.time().minute()));
    QByteArray event = due.toString(QStringLiteral("HH:mm")).toLatin1();
    event += QByteArray(6, ' ') + QByteArray(2, '\0') + QByteArray("NIGHTLY.BAT").leftJustified(32);
    if (!replaceFile(board.mainDir() + QStringLiteral("/EVENTS.CFG"), event) || !board.start())
        return 1;
    // The script's line is whole once its line end is there.
    QByteArray note;
    const bool ran = waitFor(
        [&] {
            QFile noted(started);
            note = noted.open(QIODevice::ReadOnly) ? noted.readAll() : QByteArray();
            return note.endsWith('\n');
        },
        90000);
    if (!ran)
        return 1;
    const double ranAt = note.trimmed().toDouble();
    std::printf("due minute %s: the batch started %.3f s into it\n",
                qPrintable(due.toString(QStringLiteral("HH:mm"))),
                ranAt - double(due.toMSecsSinceEpoch()) / 1000);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    QString only;
    int samples = 5;
    int idleSeconds = 10;
    for (int i = 1; i + 1 < argc; i += 2) {
        const QByteArray option = argv[i];
        if (option == "--only")
            only = QString::fromLatin1(argv[i + 1]);
        else if (option == "--samples")
            samples = std::max(1, std::atoi(argv[i + 1]));
        else if (option == "--idle-seconds")
            idleSeconds = std::max(1, std::atoi(argv[i + 1]));
    }
    int status = 0;
    if (only.isEmpty() || only == QLatin1String("latency"))
        status |= latency(samples);
    if (only.isEmpty() || only == QLatin1String("idle"))
        status |= idle(idleSeconds);
    if (only.isEmpty() || only == QLatin1String("minute"))
        status |= minute();
    return status;
}
