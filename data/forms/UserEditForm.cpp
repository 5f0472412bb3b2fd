#include "data/forms/UserEditForm.h"

#include "data/AccessFlags.h"
#include "data/Board.h"
#include "data/FieldCodec.h"
#include "data/ListTables.h"
#include "data/RecordTable.h"
#include "data/TextHelpers.h"
#include "data/TimeRules.h"
#include "data/UserAccounts.h"
#include "data/UserRows.h"
#include "data/forms/KeyFilterValidator.h"
#include "data/records/BoardFiles.h"
#include "platform/Dialogs.h"

#include <QComboBox>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QTabWidget>
#include <QVBoxLayout>

#include <cmath>

namespace {

// The user table's box for the time left, with the rule that keeps it.
const listtables::Derived& timeLeftRule() {
    return *listtables::named("USERFILE.DAT").derived;
}

// The counts as the sysop reads them: with thousands separators.
QString count(qint64 value) {
    return QLocale(QLocale::English).toString(value);
}

QString videoMode(qint16 mode) {
    static const char* const modes[] = {"ASCII", "ANSI", "Enh. ANSI", "RIP", "KWC"};
    return mode >= 0 && mode < 5 ? QLatin1String(modes[mode]) : QStringLiteral("Error");
}

QString dotted(const QString& yymmdd) {
    return yymmdd.mid(0, 2) + QLatin1Char('.') + yymmdd.mid(2, 2) + QLatin1Char('.') +
           yymmdd.mid(4, 2);
}

} // namespace

UserEditForm::UserEditForm(TableRows& rows, int row, Board& board, QWidget* parent)
    : ListEditForm(listtables::named("USERFILE.DAT"), rows, row, board, parent), board_(board),
      timeLeft_(new QLineEdit(this)), profiles_(new QComboBox(this)), age_(new QLabel(this)),
      ratio_(new QLabel(this)) {
    // The frame that carries "User n / count" holds all the tabs.
    auto* frame = new QGroupBox(this);
    frame->setObjectName(QStringLiteral("fraUser"));
    auto* outer = static_cast<QVBoxLayout*>(layout());
    outer->removeWidget(editor());
    (new QVBoxLayout(frame))->addWidget(editor());
    outer->insertWidget(0, frame);
    auto* tabs = editor()->findChild<QTabWidget*>();
    tabs->setObjectName(QStringLiteral("tbsOptions"));
    tabs->addTab(new QWidget(tabs), QStringLiteral("Statistics"));
    const auto pageRows = [tabs](int page) {
        return static_cast<QFormLayout*>(
            static_cast<QVBoxLayout*>(tabs->widget(page)->layout())->itemAt(0)->layout());
    };

    age_->setObjectName(QStringLiteral("lblUserAge"));
    pageRows(0)->addRow(age_);
    timeLeft_->setObjectName(QStringLiteral("timeleft"));
    timeLeft_->setValidator(new KeyFilterValidator(timeLeftRule().entry, timeLeft_));
    pageRows(1)->insertRow(2, QLatin1String(timeLeftRule().entry.label), timeLeft_);
    ratio_->setObjectName(QStringLiteral("lblratiovalue"));
    pageRows(1)->addRow(ratio_);
    profiles_->setObjectName(QStringLiteral("quickvalidate"));
    pageRows(1)->addRow(QStringLiteral("Quick Validate:"), profiles_);
    connect(profiles_, &QComboBox::activated, this, &UserEditForm::chooseProfile);

    auto* statistics = new QFormLayout(tabs->widget(3));
    const struct {
        const char* name;
        const char* caption;
    } values[] = {
        {"lblVideoValue", "Video Mode:"},       {"lblPageValue", "Page Break:"},
        {"lblCallsValue", "Total Calls:"},      {"lblTimeValue", "Total Time:"},
        {"lblPostsValue", "Total Posts:"},      {"lblEmailsValue", "Total Emails:"},
        {"lbluploadnovalue", "Total Uploads:"}, {"lbldownloadnovalue", "Total Downloads:"},
        {"lblLastOnValue", "Last On:"}};
    for (const auto& value : values) {
        auto* label = new QLabel(this);
        label->setObjectName(QLatin1String(value.name));
        statistics->addRow(QLatin1String(value.caption), label);
        counts_.append(label);
    }
    connect(editor(), &RecordEditor::changed, this, &UserEditForm::showComputed);
    // The index is made on the first OK even when the user as saved did not change.
    connect(this, &RecordDialog::saved, this, [this] {
        if (QFileInfo::exists(board_.path(userIndexLayout())))
            return;
        if (Result<> rebuilt = useraccounts::rebuildIndex(board_); !rebuilt)
            board_.dialogs.message(QStringLiteral("KELDTS - Error"), rebuilt.error(),
                                   MessageIcon::Stop);
    });
}

UserEditForm* UserEditForm::openOn(Board& board, int number, QWidget* parent) {
    auto* rows = new UserRows(board);
    auto* form = new UserEditForm(*rows, number - 1, board, parent);
    connect(form, &QObject::destroyed, [rows] { delete rows; });
    if (!form->load()) {
        delete form;
        return nullptr;
    }
    form->setAttribute(Qt::WA_DeleteOnClose);
    form->open();
    return form;
}

bool UserEditForm::load() {
    if (!ListEditForm::load())
        return false;
    const Record& user = editor()->loaded();
    timeLeftShown_ = timeLeftRule().shown(user, board_.clock.now().date());
    timeLeft_->setText(timeLeftShown_);
    const QList<qint64> figures{user.i32("totalcalls"), user.i32("totaltime"),
                                user.i32("totalposts"), user.i32("totalemails"),
                                user.i32("uploads"),    user.i32("downloads")};
    counts_.at(0)->setText(videoMode(user.i16("videomode")));
    counts_.at(1)->setText(count(user.i16("pagebreak")));
    for (int i = 0; i < figures.size(); ++i)
        counts_.at(i + 2)->setText(count(figures.at(i)));
    counts_.at(8)->setText(dotted(user.text("laston")) + QStringLiteral("  (YY.MM.DD)"));
    fillProfiles();
    showComputed();
    return true;
}

void UserEditForm::showComputed() {
    const auto typed = [this](std::string_view field) {
        return toInt32(editor()->value(*editor()->table().find(field)));
    };
    age_->setText(QStringLiteral("(Age: %1)")
                      .arg(ageInYears(typed("bdaymonth"), typed("bdayday"), typed("bdayyear"),
                                      board_.clock.now().date())));
    const qint32 downloaded = typed("downloadkb");
    ratio_->setText(
        downloaded == 0
            ? QStringLiteral("(Ratio: 0)")
            : QStringLiteral("(Ratio: %1)")
                  .arg(std::round(double(typed("uploadkb")) / downloaded * 10000) / 10000));
    if (QWidget* password = editor()->control("password"))
        password->setToolTip(static_cast<QLineEdit*>(password)->text());
}

void UserEditForm::fillProfiles() {
    profiles_->clear();
    profiles_->addItems({QStringLiteral("Choose..."), QStringLiteral("Reset to Original Values")});
    // Read as it is: only the profiles' own editor makes the file, and a missing one offers no
    // profile, where nine made of zeros would each take a user's level away.
    const Result<QList<Record>> profiles =
        recordtable::read(board_.path(quickValidateLayout()), quickValidateLayout());
    profileRecords_ = profiles ? profiles.value() : QList<Record>();
    for (const Record& profile : profileRecords_)
        profiles_->addItem(QStringLiteral("SL=%1: TL=%2  Access Flags=%3")
                               .arg(profile.i16("seclevel"))
                               .arg(profile.i16("timelimit"))
                               .arg(accessflags::toText(profile.i32("accflags"))));
}

void UserEditForm::chooseProfile(int index) {
    if (index < 1)
        return;
    const auto set = [this](std::string_view field, const QString& value) {
        static_cast<QLineEdit*>(editor()->control(field))->setText(value);
    };
    const Record& original = editor()->loaded();
    const bool reset = index == 1;
    const Record& from = reset ? original : profileRecords_.at(index - 2);
    set("securitylevel", QString::number(from.i16(reset ? "securitylevel" : "seclevel")));
    set("maxtime", QString::number(from.i16(reset ? "maxtime" : "timelimit")));
    set("accflags", accessflags::toText(from.i32("accflags")));
}

Result<Record> UserEditForm::applyEdits(const Record& base) const {
    Result<Record> edited = ListEditForm::applyEdits(base);
    if (!edited)
        return edited;
    if (Result<> taken =
            fieldcodec::typeable(timeLeftRule().entry, timeLeft_->text(), timeLeftShown_);
        !taken)
        return failureOf(taken);
    timeLeftRule().store(base, edited.value(), timeLeftShown_, timeLeft_->text());
    return edited;
}
