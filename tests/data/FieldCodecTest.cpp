#include "data/FieldCodec.h"

#include <gtest/gtest.h>

#include <array>

namespace {

using formtable::Control;
using formtable::Entry;
using formtable::Keys;
using formtable::Rule;

constexpr std::array kFields{
    Field{"name", 0, FieldType::Str, 8},   Field{"drives", 8, FieldType::Str, 5},
    Field{"time", 13, FieldType::Str, 5},  Field{"path", 18, FieldType::Str, 16},
    Field{"level", 34, FieldType::I16, 2}, Field{"credits", 36, FieldType::I32, 4},
    Field{"ratio", 40, FieldType::F32, 4}, Field{"batch", 44, FieldType::Chr, 1},
    Field{"flag", 45, FieldType::Str, 1},  Field{"mode", 46, FieldType::I16, 2},
    Field{"port", 48, FieldType::I16, 2},
};
const RecordLayout kLayout{"CODEC.DAT", 50, kFields};

const Entry kName{"name", "", 0, nullptr, Control::Text, {}, Keys::Capitals};
const Entry kDrives{"drives", "", 0, nullptr, Control::Text, {}, Keys::Letters, Rule::Letters};
const Entry kTime{"time", "", 0, nullptr, Control::Text, {}, Keys::Any, Rule::Time};
const Entry kPath{"path", "", 0, nullptr, Control::Path, {}, Keys::Path, Rule::Directory};
const Entry kLevel{"level", "", 0, nullptr, Control::Number};
const Entry kCredits{"credits", "", 0, nullptr, Control::Number};
const Entry kRatio{"ratio", "", 0, nullptr, Control::Number};
const Entry kBatch{"batch", "", 0, nullptr, Control::Flag};
const Entry kFlag{"flag", "",           0, nullptr, Control::Combo, {"None", "A", "C"}, {},
                  {},     {0, 'A', 'C'}};
const Entry kMode{"mode", "", 0,        nullptr, Control::Combo, {"Soft", "Hard", "Odd"},
                  {},     {}, {0, 5, 9}};
const Entry kPort{"port", "", 0, nullptr, Control::Hex};

// Stores `value` into a copy of `record`; the copy, or the refusal's text.
std::string stored(const Entry& entry, const QString& value, bool refuseOverflow = false,
                   Record record = Record(kLayout)) {
    const Result<> done = fieldcodec::store(entry, record, value, refuseOverflow);
    return done ? fieldcodec::show(entry, record).toStdString()
                : "refused: " + done.error().toStdString();
}

TEST(FieldCodec, TextBoxesFollowTheirKeysAndRules) {
    EXPECT_EQ(stored(kName, "  my board "), "MY BOARD");
    EXPECT_EQ(stored(kDrives, "cdc"), "CD");
    EXPECT_EQ(stored(kDrives, "c d1"),
              "refused: drives cannot hold \"c d1\": the box does not take \" \"");
    EXPECT_EQ(stored(kTime, "2:5"), "02:05");
    EXPECT_EQ(stored(kPath, " c:\\keld\\script\\\\ "), "C:\\KELD\\SCRIPT");
    EXPECT_EQ(stored(kPath, "C:\\MY DIR"), "refused: path cannot hold \"C:\\MY DIR\": the box does "
                                           "not take \" \"");
    EXPECT_EQ(stored(kName, "NINE CHRS"),
              "refused: name cannot hold \"NINE CHRS\": longer than 8 characters");
    EXPECT_EQ(stored(kTime, "1:00\nlevel=255"),
              "refused: time cannot hold \"1:00\nlevel=255\": the box does not take \"\n\"");
    EXPECT_TRUE(fieldcodec::takes(kPath, QLatin1Char('~')));
    EXPECT_FALSE(fieldcodec::takes(kLevel, QLatin1Char('-')));
    EXPECT_EQ(fieldcodec::asTyped(kName, "ab1"), "AB1");
    EXPECT_EQ(fieldcodec::asTyped(kTime, "ab1"), "ab1");
}

TEST(FieldCodec, NumbersAreRoundedAndCappedOrRefusedAsOverflow) {
    EXPECT_EQ(stored(kLevel, "12.6"), "13");
    EXPECT_EQ(stored(kLevel, "70000"), "32767");
    // A sign is no key of the box: a stored negative number keeps its own, nothing brings one.
    EXPECT_EQ(stored(kLevel, "-5"),
              "refused: level cannot hold \"-5\": the box does not take \"-\"");
    Record negative(kLayout);
    negative.setI16("level", -3);
    EXPECT_EQ(stored(kLevel, "-5", false, negative), "-5");
    EXPECT_EQ(stored(kLevel, "5-", false, negative),
              "refused: level cannot hold \"5-\": the box does not take \"-\"");
    EXPECT_EQ(stored(kCredits, "99999999999"), "2147483647");
    EXPECT_EQ(stored(kRatio, "2.5"), "2.5");
    EXPECT_EQ(stored(kLevel, "12x"),
              "refused: level cannot hold \"12x\": the box does not take \"x\"");
    EXPECT_EQ(stored(kLevel, "70000", true), "refused: Overflow: level cannot hold 70000");
    EXPECT_EQ(stored(kCredits, "70000", true), "70000");
}

TEST(FieldCodec, FlagsCombosAndHexadecimal) {
    Record record(kLayout);
    ASSERT_TRUE(fieldcodec::store(kBatch, record, "yes", false).ok());
    EXPECT_EQ(record.bytes().at(44), '\x01');
    EXPECT_EQ(stored(kBatch, "maybe"), "refused: batch cannot hold \"maybe\": a flag is 1 or 0");

    // Combos store the code of the item, which for a one-letter text field is the letter.
    ASSERT_TRUE(fieldcodec::store(kFlag, record, "c", false).ok());
    EXPECT_EQ(record.str("flag"), "C");
    EXPECT_EQ(fieldcodec::comboRow(kFlag, record), 2);
    ASSERT_TRUE(fieldcodec::store(kFlag, record, "None", false).ok());
    EXPECT_EQ(record.str("flag"), "");
    EXPECT_EQ(stored(kFlag, "65"), "A");
    ASSERT_TRUE(fieldcodec::store(kMode, record, "9", false).ok());
    EXPECT_EQ(record.i16("mode"), 9);
    EXPECT_EQ(fieldcodec::show(kMode, record), "Odd");
    record.setI16("mode", 4);
    EXPECT_EQ(fieldcodec::comboRow(kMode, record), -1);
    EXPECT_EQ(fieldcodec::show(kMode, record), "");
    EXPECT_EQ(stored(kMode, "Medium"), "refused: mode cannot hold \"Medium\": choose one of: "
                                       "Soft, Hard, Odd");

    EXPECT_EQ(stored(kPort, "2e8"), "2E8");
    ASSERT_TRUE(fieldcodec::store(kPort, record, "FFFF", false).ok());
    EXPECT_EQ(record.i16("port"), -1);
    EXPECT_EQ(stored(kPort, "12345"),
              "refused: port cannot hold \"12345\": not a hexadecimal number of 16 bits");
}

TEST(FieldCodec, AValueAsShownLeavesTheBytesAsTheyWere) {
    Record record(kLayout);
    record.bytes().replace(0, 8, QByteArray("  \0AB\0  ", 8));
    record.setStr("time", "7:5");
    const QByteArray before = record.bytes();
    for (const Entry* entry : {&kName, &kTime, &kLevel, &kBatch, &kFlag, &kPort})
        ASSERT_TRUE(fieldcodec::store(*entry, record, fieldcodec::show(*entry, record), true).ok());
    EXPECT_EQ(record.bytes(), before);
}

TEST(FieldCodec, AControlMustSuitItsField) {
    EXPECT_EQ(fieldcodec::mismatch(kBatch, kLayout.find("name")),
              "batch is not a field such a control can show");
    EXPECT_EQ(fieldcodec::mismatch(kName, nullptr), "name is no field of the record");
    Entry shortCodes = kMode;
    shortCodes.codes = {0, 1};
    EXPECT_EQ(fieldcodec::mismatch(shortCodes, kLayout.find("mode")),
              "mode has 3 items but 2 codes");
}

} // namespace
