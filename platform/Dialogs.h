#pragma once

#include <QString>

#include <deque>
#include <functional>
#include <initializer_list>

enum class MessageIcon { Information, Exclamation, Question, Stop };

// The one way logic talks to the operator. Nothing here waits for an answer: what is to happen
// after a box or a question is handed over as a continuation. The desktop shows boxes, the
// headless server writes the text out and takes the default answer, tests queue answers and
// read what was asked.
class Dialogs {
  public:
    using Dismissed = std::function<void()>;
    using Answered = std::function<void(bool yes)>;

    virtual ~Dialogs() = default;
    // Shows a box; `dismissed` runs once it has been closed.
    virtual void message(const QString& title, const QString& text, MessageIcon icon,
                         Dismissed dismissed = {}) = 0;
    // A Yes/No question with the question icon; `answered` gets true only for Yes.
    virtual void ask(const QString& title, const QString& text, bool defaultYes,
                     Answered answered) = 0;
    // Opens a file in the desktop's program for its kind, as a double click would; without a
    // desktop there is nothing to open it in.
    virtual void openFile(const QString& /*path*/) {}
};

// Answers at once without asking: what an unattended server does.
class DefaultAnswerDialogs : public Dialogs {
  public:
    explicit DefaultAnswerDialogs(QString prefix = {}) : prefix_(std::move(prefix)) {}
    void message(const QString& title, const QString& text, MessageIcon icon,
                 Dismissed dismissed = {}) override;
    void ask(const QString& title, const QString& text, bool defaultYes,
             Answered answered) override;

  private:
    QString prefix_;
};

// Gives prepared answers at once, in order, to the questions; boxes go on to `display`. A
// question beyond the prepared ones gets its default.
class QueuedAnswers : public Dialogs {
  public:
    QueuedAnswers(Dialogs& display, std::initializer_list<bool> answers)
        : display_(display), answers_(answers) {}
    void message(const QString& title, const QString& text, MessageIcon icon,
                 Dismissed dismissed = {}) override {
        display_.message(title, text, icon, std::move(dismissed));
    }
    void openFile(const QString& path) override { display_.openFile(path); }
    void ask(const QString&, const QString&, bool defaultYes, Answered answered) override {
        bool answer = defaultYes;
        if (!answers_.empty()) {
            answer = answers_.front();
            answers_.pop_front();
        }
        answered(answer);
    }

  private:
    Dialogs& display_;
    std::deque<bool> answers_;
};
