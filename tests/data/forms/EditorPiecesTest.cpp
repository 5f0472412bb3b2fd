#include "data/EditorErrors.h"
#include "data/KeyFilters.h"
#include "data/forms/CloseOnActivate.h"
#include "data/forms/KeyFilterValidator.h"
#include "support/ScriptedDialogs.h"

#include <QLineEdit>
#include <QTest>

#include <gtest/gtest.h>

namespace {

TEST(EditorErrors, BoxesNameTheRecordAndStop) {
    ScriptedDialogs dialogs;
    editorerrors::listLoadFailed(dialogs);
    editorerrors::readFailed(dialogs, QStringLiteral("door"), 7);
    editorerrors::saveFailed(dialogs, QStringLiteral("user"), 12);
    ASSERT_EQ(dialogs.shown.size(), 3u);
    EXPECT_EQ(dialogs.shown[0].text, "An error occurred; closing configuration.");
    EXPECT_EQ(dialogs.shown[1].text, "Error reading door 7, closing configuration.");
    EXPECT_EQ(dialogs.shown[2].text, "Error saving user 12, closing configuration.");
    for (const auto& box : dialogs.shown) {
        EXPECT_EQ(box.title, "KELDTS - Error");
        EXPECT_EQ(box.icon, MessageIcon::Stop);
    }
}

TEST(CloseOnActivate, AFailedListFormGoesAwayWhenItComesToTheFront) {
    QWidget form;
    new CloseOnActivate(&form);
    form.show();
    EXPECT_TRUE(QTest::qWaitFor([&] { return !form.isVisible(); }, 2000));
}

TEST(KeyFilterValidator, NumberBoxesRefuseLettersTypedOrPasted) {
    QLineEdit box;
    box.setValidator(new KeyFilterValidator(keyfilter::isNumberKey, &box));
    QTest::keyClicks(&box, QStringLiteral("1a2.5-"));
    EXPECT_EQ(box.text(), "12.5");
    box.clear();
    box.insert(QStringLiteral("12x"));
    EXPECT_EQ(box.text(), QString());
}

} // namespace
