#pragma once

#include "platform/Dialogs.h"

#include <QStringList>

#include <deque>

// Records every box and question; answers questions from a queue, else with their default.
class ScriptedDialogs final : public Dialogs {
  public:
    struct Shown {
        QString title;
        QString text;
        MessageIcon icon;
        bool defaultYes = false;
    };

    void message(const QString& title, const QString& text, MessageIcon icon) override {
        shown.push_back({title, text, icon});
    }
    bool askYesNo(const QString& title, const QString& text, bool defaultYes) override {
        shown.push_back({title, text, MessageIcon::Question, defaultYes});
        if (answers.empty())
            return defaultYes;
        const bool answer = answers.front();
        answers.pop_front();
        return answer;
    }

    std::deque<bool> answers;
    std::vector<Shown> shown;
};
