#include "platform/SendKeys.h"

#include <QHash>

namespace {

const QHash<QString, int>& keyTable() {
    static const QHash<QString, int> table = [] {
        QHash<QString, int> t{
            {"LBUTTON", 1},    {"RBUTTON", 2},   {"BREAK", 3},       {"CANCEL", 3},
            {"MBUTTON", 4},    {"BACKSPACE", 8}, {"BS", 8},          {"BKSP", 8},
            {"TAB", 9},        {"CLEAR", 12},    {"ENTER", 13},      {"~", 13},
            {"SHIFT", 16},     {"CONTROL", 17},  {"MENU", 18},       {"ALT", 18},
            {"PAUSE", 19},     {"CAPSLOCK", 20}, {"ESCAPE", 27},     {"ESC", 27},
            {"SPACE", 32},     {"PGUP", 33},     {"PGDN", 34},       {"END", 35},
            {"HOME", 36},      {"LEFT", 37},     {"UP", 38},         {"RIGHT", 39},
            {"DOWN", 40},      {"SELECT", 41},   {"PRTSC", 42},      {"EXECUTE", 43},
            {"SNAPSHOT", 44},  {"INSERT", 45},   {"INS", 45},        {"DELETE", 46},
            {"DEL", 46},       {"HELP", 47},     {"NUMLOCK", 144},   {"SCROLLLOCK", 145},
            {"MULTIPLY", 106}, {"ADD", 107},     {"SEPARATOR", 108}, {"SUBTRACT", 109},
            {"DECIMAL", 110},  {"DIVIDE", 111},
        };
        for (int i = 0; i <= 9; ++i)
            t.insert(QStringLiteral("NUMPAD%1").arg(i), 96 + i);
        for (int i = 1; i <= 16; ++i)
            t.insert(QStringLiteral("F%1").arg(i), 111 + i);
        return t;
    }();
    return table;
}

// "TAB 3" -> "TAB" with a count of 3: the count is all digits behind the last blank, and the
// name before that blank has three characters or more.
QString splitCount(const QString& token, int* count) {
    const qsizetype blank = token.lastIndexOf(QLatin1Char(' '));
    if (blank < 3 || blank + 1 >= token.size())
        return token;
    for (QChar c : QStringView(token).mid(blank + 1)) {
        if (!c.isDigit())
            return token;
    }
    *count = token.mid(blank + 1).toInt();
    return token.left(blank);
}

bool isModifier(const QString& token) {
    return token == QLatin1String("+") || token == QLatin1String("^") ||
           token == QLatin1String("%");
}

} // namespace

QList<KeyStroke> parseSendKeys(const QString& text) {
    QList<KeyStroke> strokes;
    qsizetype at = 0;
    while (at < text.size()) {
        KeyStroke held;
        QString token = text.mid(at++, 1);
        while (isModifier(token) && at < text.size()) {
            held.shift = held.shift || token == QLatin1String("+");
            held.control = held.control || token == QLatin1String("^");
            held.alt = held.alt || token == QLatin1String("%");
            token = text.mid(at++, 1);
        }
        int count = 1;
        if (token == QLatin1String("{")) {
            const qsizetype close = text.indexOf(QLatin1Char('}'), at);
            if (close >= 0) {
                token = splitCount(text.mid(at, close - at), &count);
                at = close + 1;
            }
        }
        const auto key = keyTable().constFind(token.toUpper());
        for (int i = 0; i < count; ++i) {
            if (key != keyTable().constEnd()) {
                KeyStroke k = held;
                k.name = token.toUpper();
                k.virtualKey = *key;
                strokes << k;
                continue;
            }
            for (QChar c : token) {
                KeyStroke k = held;
                k.character = c;
                strokes << k;
            }
        }
    }
    return strokes;
}
