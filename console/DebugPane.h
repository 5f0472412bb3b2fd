#pragma once

#include <QObject>
#include <QStringList>

#include <deque>

// What the operator sees now. Only the daily reset empties it, so between resets it keeps a
// bounded number of lines and drops the oldest: a flood of refusals must not eat the memory.
class DebugPane : public QObject {
    Q_OBJECT
  public:
    static constexpr int kDefaultMaxLines = 5000;

    explicit DebugPane(int maxLines = kDefaultMaxLines, QObject* parent = nullptr)
        : QObject(parent), maxLines_(maxLines) {}

    void append(const QString& line);
    void clear();
    QStringList lines() const;
    int maxLines() const { return maxLines_; }

  signals:
    void lineAppended(const QString& line);
    void cleared();

  private:
    int maxLines_;
    std::deque<QString> lines_;
};
