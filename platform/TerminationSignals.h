#pragma once

#include <QObject>

class QSocketNotifier;

// Turns SIGTERM and SIGINT into a Qt signal on the event loop, so that an orderly exit runs
// the same code as the File menu's Exit and never runs inside a signal handler.
class TerminationSignals : public QObject {
    Q_OBJECT
  public:
    explicit TerminationSignals(QObject* parent = nullptr);
    ~TerminationSignals() override;

  signals:
    void terminationRequested();

  private:
    QSocketNotifier* notifier_ = nullptr;
};

// Makes a broken connection or an exceeded file-size limit fail the write instead of killing
// the process. Called first thing, before any file is written.
void ignoreWriteFailureSignals();
