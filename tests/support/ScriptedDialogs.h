#pragma once

#include "platform/Dialogs.h"

#include <deque>
#include <vector>

// Records every box and question; answers questions at once from a queue, else with their
// default.
class ScriptedDialogs final : public Dialogs {
  public:
    struct Shown {
        QString title;
        QString text;
        MessageIcon icon;
        bool defaultYes = false;
    };

    void message(const QString& title, const QString& text, MessageIcon icon,
                 Dismissed dismissed = {}) override {
        shown.push_back({title, text, icon});
        if (dismissed)
            dismissed();
    }
    void ask(const QString& title, const QString& text, bool defaultYes,
             Answered answered) override {
        shown.push_back({title, text, MessageIcon::Question, defaultYes});
        bool answer = defaultYes;
        if (!answers.empty()) {
            answer = answers.front();
            answers.pop_front();
        }
        answered(answer);
    }

    void openFile(const QString& path) override { opened.push_back(path); }

    std::deque<bool> answers;
    std::vector<Shown> shown;
    std::vector<QString> opened;
};
