#include "platform/SendKeys.h"

#include <gtest/gtest.h>

namespace {

KeyStroke key(const char* name, int vk, bool shift = false, bool control = false,
              bool alt = false) {
    return {QLatin1String(name), vk, QChar(), shift, control, alt};
}

KeyStroke typed(char c, bool shift = false) {
    return {QString(), 0, QLatin1Char(c), shift, false, false};
}

TEST(SendKeys, ModifiersHoldForTheNextKeyOnly) {
    EXPECT_EQ(parseSendKeys(QStringLiteral("+{F10}")), QList<KeyStroke>({key("F10", 121, true)}));
    EXPECT_EQ(parseSendKeys(QStringLiteral("{F10}")), QList<KeyStroke>({key("F10", 121)}));
    EXPECT_EQ(parseSendKeys(QStringLiteral("+{F1}")), QList<KeyStroke>({key("F1", 112, true)}));
    EXPECT_EQ(
        parseSendKeys(QStringLiteral("^%x+ab")),
        QList<KeyStroke>(
            {{QString(), 0, QLatin1Char('x'), false, true, true}, typed('a', true), typed('b')}));
}

TEST(SendKeys, BracesNameKeysWithAnOptionalCount) {
    EXPECT_EQ(parseSendKeys(QStringLiteral("{TAB 3}")),
              QList<KeyStroke>({key("TAB", 9), key("TAB", 9), key("TAB", 9)}));
    EXPECT_EQ(parseSendKeys(QStringLiteral("{tab}")), QList<KeyStroke>({key("TAB", 9)}));
    // A name of fewer than three characters cannot carry a count.
    EXPECT_EQ(parseSendKeys(QStringLiteral("{BS 2}")),
              QList<KeyStroke>({typed('B'), typed('S'), typed(' '), typed('2')}));
    EXPECT_EQ(parseSendKeys(QStringLiteral("{NOPE}x")),
              QList<KeyStroke>({typed('N'), typed('O'), typed('P'), typed('E'), typed('x')}));
}

TEST(SendKeys, LoneBracesAndTildes) {
    EXPECT_EQ(parseSendKeys(QStringLiteral("{")), QList<KeyStroke>({typed('{')}));
    EXPECT_EQ(parseSendKeys(QStringLiteral("a{b")),
              QList<KeyStroke>({typed('a'), typed('{'), typed('b')}));
    EXPECT_EQ(parseSendKeys(QStringLiteral("~")), QList<KeyStroke>({key("~", 13)}));
    EXPECT_EQ(parseSendKeys(QStringLiteral("{~}")), QList<KeyStroke>({key("~", 13)}));
    EXPECT_EQ(parseSendKeys(QStringLiteral("+")), QList<KeyStroke>({typed('+')}));
}

} // namespace
