#pragma once

#include <QString>

#include <deque>
#include <initializer_list>

enum class MessageIcon { Information, Exclamation, Question, Stop };

// The one way logic talks to the operator. The desktop shows boxes, the headless server writes
// the text out and takes the default answer, tests queue answers and read what was asked.
class Dialogs {
  public:
    virtual ~Dialogs() = default;
    virtual void message(const QString& title, const QString& text, MessageIcon icon) = 0;
    // A Yes/No question with the question icon; returns true only for Yes.
    virtual bool askYesNo(const QString& title, const QString& text, bool defaultYes) = 0;
};

// Answers without asking: what an unattended server does.
class DefaultAnswerDialogs : public Dialogs {
  public:
    explicit DefaultAnswerDialogs(QString prefix = {}) : prefix_(std::move(prefix)) {}
    void message(const QString& title, const QString& text, MessageIcon icon) override;
    bool askYesNo(const QString& title, const QString& text, bool defaultYes) override;

  private:
    QString prefix_;
};

// Gives prepared answers, in order, to the questions; boxes go on to `display`. A question
// beyond the prepared ones gets its default.
class QueuedAnswers : public Dialogs {
  public:
    QueuedAnswers(Dialogs& display, std::initializer_list<bool> answers)
        : display_(display), answers_(answers) {}
    void message(const QString& title, const QString& text, MessageIcon icon) override {
        display_.message(title, text, icon);
    }
    bool askYesNo(const QString&, const QString&, bool defaultYes) override {
        if (answers_.empty())
            return defaultYes;
        const bool answer = answers_.front();
        answers_.pop_front();
        return answer;
    }

  private:
    Dialogs& display_;
    std::deque<bool> answers_;
};
