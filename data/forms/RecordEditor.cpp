#include "data/forms/RecordEditor.h"

#include "data/FieldCodec.h"
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

#include <map>

namespace {

using formtable::Control;
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

QLineEdit* textBox(const formtable::Entry& entry, const Field& field, QWidget* parent) {
    auto* box = new QLineEdit(parent);
    box->setValidator(new KeyFilterValidator(entry, box));
    switch (entry.control) {
    case Control::Number:
        // Room for every digit of the field's largest value, no more.
        box->setMaxLength(field.type == FieldType::I16 ? 6 : 11);
        box->setMaximumWidth(box->fontMetrics().horizontalAdvance(QLatin1Char('0')) * 12);
        break;
    case Control::Hex:
        box->setMaxLength(4);
        break;
    default:
        box->setMaxLength(field.width);
        break;
    }
    if (entry.rule == Rule::Time)
        QObject::connect(box, &QLineEdit::editingFinished, box,
                         [box] { box->setText(normalizeTime(box->text())); });
    return box;
}

} // namespace

RecordEditor::RecordEditor(const formtable::Table& table, QWidget* parent)
    : QWidget(parent), table_(table), loaded_(*table.layout) {
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    std::vector<QWidget*> pages;
    if (table.tabs.isEmpty()) {
        pages.push_back(new QWidget(this));
        outer->addWidget(pages.back());
    } else {
        auto* tabs = new QTabWidget(this);
        tabs->setObjectName(QStringLiteral("tabPages"));
        for (const QString& tab : table.tabs) {
            pages.push_back(new QWidget(tabs));
            tabs->addTab(pages.back(), tab);
        }
        outer->addWidget(tabs);
    }
    for (QWidget* page : pages)
        new QVBoxLayout(page);

    // A frame, or the loose controls of a page, gets its rows in the order of the table.
    std::map<std::pair<int, std::string_view>, QFormLayout*> rows;
    QWidget* previous = nullptr;
    for (const formtable::Entry& entry : table.entries) {
        if (const QString wrong = fieldcodec::mismatch(entry, table.layout->find(entry.field));
            !wrong.isEmpty())
            qFatal("%s: %s", table.objectName, qPrintable(wrong));
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
        QWidget* control = build(entry, page);
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
            control->setMinimumWidth(control->fontMetrics().horizontalAdvance(
                QString(table.layout->find(entry.field)->width, QLatin1Char('X'))));
            browse->setFixedWidth(browse->fontMetrics().horizontalAdvance(browse->text()) * 3);
            line->addWidget(control);
            line->addWidget(browse);
            connect(browse, &QPushButton::clicked, this,
                    [this, field = nameOf(entry.field)] { emit browseRequested(field); });
        }
        if (entry.control == Control::Flag) {
            form->addRow(control);
        } else {
            auto* label = new QLabel(QString::fromLatin1(entry.label), page);
            label->setObjectName(labelNameOf(entry.field));
            label->setBuddy(control);
            form->addRow(label, row);
        }
        if (previous)
            setTabOrder(previous, control);
        previous = control;
    }
    for (QWidget* page : pages)
        static_cast<QVBoxLayout*>(page->layout())->addStretch();
}

QWidget* RecordEditor::build(const formtable::Entry& entry, QWidget* page) {
    QWidget* control = nullptr;
    switch (entry.control) {
    case Control::Flag: {
        auto* check = new QCheckBox(QString::fromLatin1(entry.label), page);
        connect(check, &QCheckBox::toggled, this, &RecordEditor::changed);
        control = check;
        break;
    }
    case Control::Combo: {
        auto* combo = new QComboBox(page);
        combo->addItems(entry.items);
        connect(combo, &QComboBox::currentIndexChanged, this, &RecordEditor::changed);
        control = combo;
        break;
    }
    default: {
        QLineEdit* box = textBox(entry, *table_.layout->find(entry.field), page);
        connect(box, &QLineEdit::textChanged, this, &RecordEditor::changed);
        control = box;
        break;
    }
    }
    control->setObjectName(nameOf(entry.field));
    return control;
}

QString RecordEditor::browseButtonName(std::string_view field) {
    return QStringLiteral("cmd") + capitalised(field) + QStringLiteral("Browse");
}

QWidget* RecordEditor::control(std::string_view field) const {
    return findChild<QWidget*>(nameOf(field));
}

QLabel* RecordEditor::label(std::string_view field) const {
    return findChild<QLabel*>(labelNameOf(field));
}

void RecordEditor::setFieldEnabled(std::string_view field, bool enabled) {
    control(field)->setEnabled(enabled);
    if (QLabel* text = label(field))
        text->setEnabled(enabled);
}

QString RecordEditor::value(const formtable::Entry& entry) const {
    QWidget* widget = control(entry.field);
    switch (entry.control) {
    case Control::Flag:
        return static_cast<QCheckBox*>(widget)->isChecked() ? QStringLiteral("1")
                                                            : QStringLiteral("0");
    case Control::Combo:
        return static_cast<QComboBox*>(widget)->currentText();
    default:
        return static_cast<QLineEdit*>(widget)->text();
    }
}

void RecordEditor::load(const Record& record) {
    loaded_ = record;
    fill(record);
}

void RecordEditor::fill(const Record& record) {
    for (const formtable::Entry& entry : table_.entries) {
        QWidget* widget = control(entry.field);
        switch (entry.control) {
        case Control::Flag:
            static_cast<QCheckBox*>(widget)->setChecked(fieldcodec::show(entry, record) ==
                                                        QLatin1String("1"));
            break;
        case Control::Combo:
            static_cast<QComboBox*>(widget)->setCurrentIndex(fieldcodec::comboRow(entry, record));
            break;
        default:
            static_cast<QLineEdit*>(widget)->setText(fieldcodec::show(entry, record));
            break;
        }
    }
    emit changed();
}

Result<Record> RecordEditor::applyTo(const Record& base) const {
    Record edited = base;
    for (const formtable::Entry& entry : table_.entries) {
        const QString now = value(entry);
        if (now == fieldcodec::show(entry, loaded_))
            continue;
        if (Result<> stored = fieldcodec::store(entry, edited, now, table_.refuseOverflow); !stored)
            return failureOf(stored);
    }
    return edited;
}
