#include "platform/SendKeys.h"

#include <gtest/gtest.h>

namespace {

using Keys = QList<KeyStroke>;

KeyStroke key(const char* name, int vk) {
    return {QLatin1String(name), vk, QChar()};
}

Keys typed(const char* text) {
    Keys keys;
    for (const char* c = text; *c; ++c)
        keys.append({QString(), 0, QLatin1Char(*c)});
    return keys;
}

// The node commands' own keys (+{F1}, {F10}, +{F10}) are typed into a real node end to end.
TEST(SendKeys, ModifiersHoldForOneKeyBracesNameKeysWithACountAndAnythingElseIsTyped) {
    Keys held = typed("xab");
    held[0].control = held[0].alt = held[1].shift = true;
    EXPECT_EQ(parseSendKeys("^%x+ab"), held);
    EXPECT_EQ(parseSendKeys("{TAB 3}"), Keys({key("TAB", 9), key("TAB", 9), key("TAB", 9)}));
    EXPECT_EQ(parseSendKeys("{tab}~{~}"), Keys({key("TAB", 9), key("~", 13), key("~", 13)}));
    // A name of fewer than three characters cannot carry a count; what names no key is typed,
    // and so are a brace that is never closed and a modifier with no key after it.
    EXPECT_EQ(parseSendKeys("{BS 2}"), typed("BS 2"));
    EXPECT_EQ(parseSendKeys("{NOPE}x"), typed("NOPEx"));
    EXPECT_EQ(parseSendKeys("a{b+"), typed("a{b+"));
}

} // namespace
