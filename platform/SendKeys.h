#pragma once

#include <QList>
#include <QString>

// One press of a key, with the modifiers held down around it.
struct KeyStroke {
    QString name; // a key name ("F10", "ENTER"), or empty for a typed character
    int virtualKey = 0;
    QChar character; // the typed character, when `name` is empty
    bool shift = false;
    bool control = false;
    bool alt = false;

    bool operator==(const KeyStroke&) const = default;
};

// Reads the key notation of the sysop's node commands: "+", "^" and "%" hold Shift, Control
// and Alt for the next key; "{NAME}" or "{NAME count}" names a key, "~" alone is Enter; any
// other text, and a name that is no key's, is typed as it stands.
QList<KeyStroke> parseSendKeys(const QString& text);
