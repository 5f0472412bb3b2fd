#include "data/forms/TableForm.h"

#include "data/AccessFlags.h"
#include "data/KeyFilters.h"
#include "data/TextHelpers.h"
#include "data/TimeRules.h"
#include "data/forms/KeyFilterValidator.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QVBoxLayout>

#include <cmath>
#include <limits>
#include <map>

namespace {

using formtable::Control;
using formtable::Keys;
using formtable::Rule;

QString nameOf(std::string_view field) {
    return QString::fromLatin1(field.data(), static_cast<qsizetype>(field.size()));
}

QString capitalised(std::string_view field) {
    QString name = nameOf(field);
    if (!name.isEmpty())
        name[0] = name[0].toUpper();
    return name;
}

// "lbl" and the field's name with a capital: lblTelnetport.
QString labelNameOf(std::string_view field) {
    return QStringLiteral("lbl") + capitalised(field);
}

QWidget* makeControl(const formtable::Entry& entry, const Field& field, QWidget* parent) {
    switch (entry.control) {
    case Control::Flag:
        return new QCheckBox(QString::fromLatin1(entry.label), parent);
    case Control::Combo: {
        auto* combo = new QComboBox(parent);
        combo->addItems(entry.items);
        return combo;
    }
    case Control::Number: {
        auto* box = new QLineEdit(parent);
        box->setValidator(new KeyFilterValidator(keyfilter::isNumberKey, box));
        // Room for every digit of the field's largest value, no more.
        box->setMaxLength(field.type == FieldType::I16 ? 6 : 11);
        box->setMaximumWidth(box->fontMetrics().horizontalAdvance(QLatin1Char('0')) * 12);
        return box;
    }
    case Control::Hex: {
        auto* box = new QLineEdit(parent);
        box->setMaxLength(4);
        box->setValidator(new KeyFilterValidator(
            [](int code) {
                return code == keyfilter::kBackspace || QChar(code).isDigit() ||
                       (code >= 'A' && code <= 'F');
            },
            box, KeyFilterValidator::Letters::Capitals));
        return box;
    }
    case Control::Text:
    case Control::Path:
        break;
    }
    auto* box = new QLineEdit(parent);
    box->setMaxLength(field.width);
    const auto capitals = [box](KeyFilterValidator::Filter filter) {
        box->setValidator(
            new KeyFilterValidator(std::move(filter), box, KeyFilterValidator::Letters::Capitals));
    };
    switch (entry.keys) {
    case Keys::Any:
        break;
    case Keys::Capitals:
        capitals([](int) { return true; });
        break;
    case Keys::Letters:
        capitals(keyfilter::isLetterKey);
        break;
    case Keys::Path:
        capitals([](int code) { return keyfilter::isPathKey(code); });
        break;
    }
    if (entry.rule == Rule::Time)
        QObject::connect(box, &QLineEdit::editingFinished, box,
                         [box] { box->setText(normalizeTime(box->text())); });
    return box;
}

// The text of a number box for a stored value.
QString numberText(const Record& record, const Field& field) {
    switch (field.type) {
    case FieldType::I32:
        return QString::number(record.i32(field.name));
    case FieldType::F32:
        return QString::number(record.f32(field.name));
    default:
        return QString::number(record.i16(field.name));
    }
}

bool fitsField(double value, FieldType type) {
    const double rounded = std::nearbyint(value);
    if (type == FieldType::I32)
        return rounded >= std::numeric_limits<qint32>::min() &&
               rounded <= std::numeric_limits<qint32>::max();
    if (type == FieldType::F32)
        return std::abs(value) <= std::numeric_limits<float>::max();
    return rounded >= std::numeric_limits<qint16>::min() &&
           rounded <= std::numeric_limits<qint16>::max();
}

} // namespace

TableForm::TableForm(const formtable::Table& table, const RecordLayout& layout, QWidget* parent)
    : QDialog(parent), table_(table), layout_(layout) {
    setObjectName(QLatin1String(table.objectName));
    setWindowTitle(QString::fromLatin1(table.caption));
    setModal(true);
    auto* outer = new QVBoxLayout(this);

    std::vector<QWidget*> pages;
    if (table.tabs.isEmpty()) {
        pages.push_back(new QWidget(this));
        pages_ = pages.back();
    } else {
        auto* tabs = new QTabWidget(this);
        tabs->setObjectName(QStringLiteral("tabPages"));
        for (const QString& tab : table.tabs) {
            pages.push_back(new QWidget(tabs));
            tabs->addTab(pages.back(), tab);
        }
        pages_ = tabs;
    }
    outer->addWidget(pages_);
    for (QWidget* page : pages)
        new QVBoxLayout(page);

    // A frame, or the loose controls of a page, gets its rows in the order of the table.
    std::map<std::pair<int, std::string_view>, QFormLayout*> rows;
    QWidget* previous = nullptr;
    for (const formtable::Entry& entry : table.entries) {
        QWidget* page = pages.at(static_cast<size_t>(entry.page));
        auto* pageLayout = static_cast<QVBoxLayout*>(page->layout());
        QFormLayout*& form = rows[{entry.page, entry.frame ? entry.frame : ""}];
        if (!form) {
            if (entry.frame) {
                auto* frame = new QGroupBox(QString::fromLatin1(entry.frame), page);
                form = new QFormLayout(frame);
                pageLayout->addWidget(frame);
            } else {
                form = new QFormLayout;
                pageLayout->addLayout(form);
            }
        }
        const Field& field = *layout.find(entry.field);
        QWidget* control = makeControl(entry, field, page);
        control->setObjectName(nameOf(entry.field));
        QWidget* row = control;
        if (entry.control == Control::Path) {
            row = new QWidget(page);
            auto* line = new QHBoxLayout(row);
            line->setContentsMargins(0, 0, 0, 0);
            control->setParent(row);
            auto* browse = new QPushButton(QStringLiteral("..."), row);
            browse->setObjectName(browseButtonName(entry.field));
            browse->setAutoDefault(false);
            // Room for the whole path, and a button no wider than its dots.
            control->setMinimumWidth(
                control->fontMetrics().horizontalAdvance(QString(field.width, QLatin1Char('X'))));
            browse->setFixedWidth(browse->fontMetrics().horizontalAdvance(browse->text()) * 3);
            line->addWidget(control);
            line->addWidget(browse);
            connect(browse, &QPushButton::clicked, this, [this, field = entry.field] {
                if (onBrowse)
                    onBrowse(field);
            });
        }
        if (entry.control == Control::Flag) {
            form->addRow(control);
        } else {
            auto* label = new QLabel(QString::fromLatin1(entry.label), page);
            label->setObjectName(labelNameOf(entry.field));
            label->setBuddy(control);
            form->addRow(label, row);
        }
        const auto changed = [this] {
            if (onChange)
                onChange();
        };
        if (auto* box = qobject_cast<QLineEdit*>(control))
            connect(box, &QLineEdit::textChanged, this, changed);
        else if (auto* check = qobject_cast<QCheckBox*>(control))
            connect(check, &QCheckBox::toggled, this, changed);
        else if (auto* combo = qobject_cast<QComboBox*>(control))
            connect(combo, &QComboBox::currentIndexChanged, this, changed);
        if (previous)
            setTabOrder(previous, control);
        previous = control;
    }
    for (QWidget* page : pages)
        static_cast<QVBoxLayout*>(page->layout())->addStretch();

    buttonRow_ = new QHBoxLayout;
    QHBoxLayout* buttons = buttonRow_;
    buttons->addStretch();
    auto* ok = new QPushButton(QStringLiteral("&OK"), this);
    ok->setObjectName(QStringLiteral("cmdOK"));
    ok->setDefault(true);
    auto* cancel = new QPushButton(QStringLiteral("&Cancel"), this);
    cancel->setObjectName(QStringLiteral("cmdCancel"));
    buttons->addWidget(ok);
    buttons->addWidget(cancel);
    outer->addLayout(buttons);
    if (previous)
        setTabOrder(previous, ok);
    setTabOrder(ok, cancel);
    connect(ok, &QPushButton::clicked, this, [this] {
        if (!onOk || onOk())
            accept();
    });
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
}

QString TableForm::browseButtonName(std::string_view field) {
    return QStringLiteral("cmd") + capitalised(field) + QStringLiteral("Browse");
}

QWidget* TableForm::control(std::string_view field) const {
    return findChild<QWidget*>(nameOf(field));
}

QLabel* TableForm::label(std::string_view field) const {
    return findChild<QLabel*>(labelNameOf(field));
}

void TableForm::setFieldEnabled(std::string_view field, bool enabled) {
    control(field)->setEnabled(enabled);
    if (QLabel* text = label(field))
        text->setEnabled(enabled);
}

void TableForm::load(const Record& record) {
    for (const formtable::Entry& entry : table_.entries) {
        QWidget* widget = control(entry.field);
        const Field& field = *layout_.find(entry.field);
        switch (entry.control) {
        case Control::Text:
        case Control::Path:
            static_cast<QLineEdit*>(widget)->setText(record.text(entry.field).trimmed());
            break;
        case Control::Hex:
            static_cast<QLineEdit*>(widget)->setText(
                QString::number(static_cast<quint16>(record.i16(entry.field)), 16).toUpper());
            break;
        case Control::Number:
            static_cast<QLineEdit*>(widget)->setText(numberText(record, field));
            break;
        case Control::Flag:
            static_cast<QCheckBox*>(widget)->setChecked(toCheck(record.i16(entry.field)) == 1);
            break;
        case Control::Combo:
            static_cast<QComboBox*>(widget)->setCurrentIndex(record.i16(entry.field));
            break;
        }
    }
    if (onChange)
        onChange();
}

bool TableForm::store(Record& record, QString* error) const {
    // Checked first, so that a refused save leaves the record as it was.
    for (const formtable::Entry& entry : table_.entries) {
        const Field& field = *layout_.find(entry.field);
        const QString typed = entry.control == Control::Number
                                  ? static_cast<QLineEdit*>(control(entry.field))->text()
                                  : QString();
        if (table_.refuseOverflow && !typed.isEmpty() &&
            !fitsField(numericValue(typed), field.type)) {
            *error = QStringLiteral("Overflow");
            return false;
        }
    }
    for (const formtable::Entry& entry : table_.entries) {
        QWidget* widget = control(entry.field);
        switch (entry.control) {
        case Control::Hex:
            // Four hex digits at most, read as the 16 bits they spell: FFFF is -1.
            record.setI16(
                entry.field,
                static_cast<qint16>(
                    static_cast<QLineEdit*>(widget)->text().trimmed().toUShort(nullptr, 16)));
            break;
        case Control::Text:
        case Control::Path: {
            const QString text = static_cast<QLineEdit*>(widget)->text().trimmed();
            record.setText(entry.field, entry.rule == Rule::Letters
                                            ? accessflags::normalizeLetters(text)
                                            : text);
            break;
        }
        case Control::Number: {
            const QString typed = static_cast<QLineEdit*>(widget)->text();
            switch (layout_.find(entry.field)->type) {
            case FieldType::I32:
                record.setI32(entry.field, toInt32(typed));
                break;
            case FieldType::F32:
                record.setF32(entry.field, static_cast<float>(numericValue(typed)));
                break;
            default:
                record.setI16(entry.field, toInt16(typed));
                break;
            }
            break;
        }
        case Control::Flag:
            record.setI16(entry.field, static_cast<QCheckBox*>(widget)->isChecked() ? 1 : 0);
            break;
        case Control::Combo: {
            // A stored value that names no item stays as it was.
            const int chosen = static_cast<QComboBox*>(widget)->currentIndex();
            if (chosen >= 0)
                record.setI16(entry.field, static_cast<qint16>(chosen));
            break;
        }
        }
    }
    return true;
}
