#include "server/forms/IpConfigDialog.h"

#include "data/Board.h"
#include "data/SystemConfig.h"
#include "data/TableModel.h"
#include "server/IpList.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>

#include <algorithm>

namespace {

// The keys of the four address boxes. A digit goes in, and the third one finishes the box;
// "." finishes it without going in; "*" makes the part a wildcard and finishes it; Backspace
// in an empty box goes back to the one before. Any other character is dropped, pasting too.
// Keys that type nothing (arrows, Delete, Tab, Enter, Escape) keep their usual meaning.
class AddressKeys : public QObject {
  public:
    AddressKeys(const std::array<QLineEdit*, 4>& boxes, QWidget* after, QObject* parent)
        : QObject(parent), boxes_(boxes), after_(after) {
        for (QLineEdit* box : boxes_) {
            box->installEventFilter(this);
            box->setContextMenuPolicy(Qt::NoContextMenu);
        }
    }

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() != QEvent::KeyPress)
            return false;
        const auto found = std::find(boxes_.begin(), boxes_.end(), watched);
        if (found == boxes_.end())
            return false;
        const auto index = found - boxes_.begin();
        QLineEdit* box = *found;
        const auto* key = static_cast<QKeyEvent*>(event);
        if (key->matches(QKeySequence::Paste))
            return true;
        if (key->key() == Qt::Key_Backspace) {
            if (index == 0 || !box->text().isEmpty())
                return false;
            boxes_[index - 1]->setFocus();
            return true;
        }
        const QString typed = key->text();
        if (typed.size() != 1 || !typed.at(0).isPrint())
            return false;
        const char16_t c = typed.at(0).unicode();
        if (c >= u'0' && c <= u'9') {
            box->insert(typed);
            if (box->text().size() >= 3)
                moveOn(index);
        } else if (c == u'.') {
            moveOn(index);
        } else if (c == u'*') {
            box->setText(typed);
            moveOn(index);
        }
        return true;
    }

  private:
    void moveOn(qsizetype index) {
        QWidget* next = index + 1 < qsizetype(boxes_.size()) ? boxes_[index + 1] : after_;
        next->setFocus();
    }

    std::array<QLineEdit*, 4> boxes_;
    QWidget* after_;
};

QPushButton* button(const char* name, const QString& text, QWidget* parent) {
    auto* b = new QPushButton(text, parent);
    b->setObjectName(QLatin1String(name));
    return b;
}

} // namespace

IpConfigDialog::IpConfigDialog(Board& board, QWidget* parent)
    : QDialog(parent), board_(board),
      entries_(new TableModel(
          std::make_unique<RecordFileRows>(board, iplist::table()),
          [](const Record& r, int, int) { return r.text("address"); }, this)) {
    setObjectName(QStringLiteral("frmIpConfig"));
    setWindowTitle(QStringLiteral("KELDTS - IP Restrictions"));

    // Created in tab order: an address is typed and added without leaving the keyboard.
    auto* entry = new QHBoxLayout;
    entry->setSpacing(2);
    for (int i = 0; i < 4; ++i) {
        auto* box = new QLineEdit(this);
        box->setObjectName(QStringLiteral("txtIp%1").arg(i + 1));
        // Three characters a part keep the longest entry inside the 15-byte record.
        box->setMaxLength(3);
        box->setAlignment(Qt::AlignCenter);
        box->setFixedWidth(box->fontMetrics().horizontalAdvance(QStringLiteral("00000")) + 12);
        parts_[std::size_t(i)] = box;
        if (i > 0)
            entry->addWidget(new QLabel(QStringLiteral("."), this));
        entry->addWidget(box);
    }
    entry->addStretch();
    add_ = button("cmdAdd", QStringLiteral("&Add"), this);
    add_->setDefault(true);
    list_ = new QListView(this);
    list_->setObjectName(QStringLiteral("lstIp"));
    list_->setModel(entries_);
    list_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    list_->setMinimumHeight(list_->fontMetrics().lineSpacing() * 10);
    list_->setMinimumWidth(
        list_->fontMetrics().horizontalAdvance(QStringLiteral("000.000.000.000")) + 40);
    QPushButton* remove = button("cmdDelete", QStringLiteral("&Remove"), this);

    // IPv6 callers have a list of their own: the DOS program's records cannot hold them.
    v6List_ = new QListWidget(this);
    v6List_->setObjectName(QStringLiteral("lstIp6"));
    v6List_->setMinimumHeight(v6List_->fontMetrics().lineSpacing() * 4);
    QPushButton* removeV6 = button("cmdDelete6", QStringLiteral("R&emove"), this);
    v6Entry_ = new QLineEdit(this);
    v6Entry_->setObjectName(QStringLiteral("txtIp6"));
    v6Entry_->setPlaceholderText(QStringLiteral("2001:db8::1 or 2001:db8::/32"));
    QPushButton* addV6 = button("cmdAdd6", QStringLiteral("A&dd"), this);

    auto* mode = new QGroupBox(QStringLiteral("Mode"), this);
    auto* modeLayout = new QGridLayout(mode);
    auto* allow = new QRadioButton(QStringLiteral("Allow"), mode);
    allow->setObjectName(QStringLiteral("optAllowBlock_0"));
    auto* block = new QRadioButton(QStringLiteral("Block"), mode);
    block->setObjectName(QStringLiteral("optAllowBlock_1"));
    modeLayout->addWidget(allow, 0, 0);
    modeLayout->addWidget(
        new QLabel(QStringLiteral("Only allow the IP's listed to connect."), mode), 0, 1);
    modeLayout->addWidget(block, 1, 0);
    modeLayout->addWidget(
        new QLabel(QStringLiteral("Block the listed IP's from connecting."), mode), 1, 1);
    modeLayout->setColumnStretch(1, 1);
    QPushButton* close = button("cmdCancel", QStringLiteral("&Close"), this);

    auto* grid = new QGridLayout(this);
    grid->addWidget(new QLabel(QStringLiteral("Listed IP's:"), this), 0, 0);
    grid->addWidget(list_, 1, 0);
    auto* listButtons = new QVBoxLayout;
    listButtons->addWidget(remove);
    listButtons->addStretch();
    grid->addLayout(listButtons, 1, 1);
    grid->addLayout(entry, 2, 0);
    grid->addWidget(add_, 2, 1);
    grid->addWidget(new QLabel(QStringLiteral("Listed IPv6 addresses and networks:"), this), 3, 0);
    grid->addWidget(v6List_, 4, 0);
    grid->addWidget(removeV6, 4, 1, Qt::AlignTop);
    grid->addWidget(v6Entry_, 5, 0);
    grid->addWidget(addV6, 5, 1);
    grid->addWidget(mode, 6, 0, 1, 2);
    auto* bottom = new QHBoxLayout;
    bottom->addStretch();
    bottom->addWidget(close);
    grid->addLayout(bottom, 7, 0, 1, 2);
    grid->setRowStretch(1, 1);

    new AddressKeys(parts_, add_, this);

    // Set before the handlers are connected: opening the form must not save the settings.
    (board_.serverConfig.i16("ipfiltermode") != 0 ? allow : block)->setChecked(true);
    connect(allow, &QRadioButton::clicked, this, [this] { setMode(1); });
    connect(block, &QRadioButton::clicked, this, [this] { setMode(0); });
    connect(add_, &QPushButton::clicked, this, &IpConfigDialog::addEntry);
    connect(remove, &QPushButton::clicked, this, &IpConfigDialog::removeEntry);
    connect(addV6, &QPushButton::clicked, this, [this] {
        const Result<> added = iplist::addV6(board_, v6Entry_->text());
        if (!added) {
            board_.dialogs.message(QStringLiteral("KELDTS - IP Restrictions"), added.error(),
                                   MessageIcon::Information);
            return;
        }
        v6Entry_->clear();
        fillV6(v6List_->count());
    });
    connect(v6Entry_, &QLineEdit::returnPressed, addV6, &QPushButton::click);
    connect(removeV6, &QPushButton::clicked, this, [this] {
        const int row = v6List_->currentRow();
        if (row < 0)
            return;
        report(iplist::removeV6(board_, row));
        fillV6(row);
    });
    connect(close, &QPushButton::clicked, this, &QDialog::reject);

    report(entries_->reload());
    select(0);
    fillV6(0);
    parts_[0]->setFocus();
}

void IpConfigDialog::done(int result) {
    report(iplist::dropIfEmpty(board_));
    QDialog::done(result);
}

void IpConfigDialog::report(const Result<>& done) {
    if (!done)
        board_.logs.reportError(done.error());
}

void IpConfigDialog::fillV6(int row) {
    v6List_->clear();
    const Result<QStringList> entries = iplist::v6Entries(board_);
    if (!entries) {
        report(failureOf(entries));
        return;
    }
    v6List_->addItems(entries.value());
    if (v6List_->count() > 0)
        v6List_->setCurrentRow(std::min(row, v6List_->count() - 1));
}

void IpConfigDialog::select(int row) {
    if (entries_->rowCount() > 0)
        list_->setCurrentIndex(entries_->index(std::min(row, entries_->rowCount() - 1)));
}

void IpConfigDialog::addEntry() {
    std::array<QString, 4> parts;
    for (std::size_t i = 0; i < parts.size(); ++i)
        parts[i] = parts_[i]->text();
    const QString entry = iplist::entryFromParts(parts);
    if (entry.isEmpty())
        return;
    const Result<Record> record = iplist::recordOf(entry);
    const Result<> added = record ? entries_->append(record.value()) : Result<>(failureOf(record));
    report(added);
    if (!added)
        return;
    for (QLineEdit* box : parts_)
        box->clear();
    parts_[0]->setFocus();
}

void IpConfigDialog::removeEntry() {
    const QModelIndex current = list_->currentIndex();
    if (!current.isValid() || !list_->selectionModel()->isSelected(current))
        return;
    const int row = current.row();
    report(entries_->remove(row));
    select(row);
}

void IpConfigDialog::setMode(qint16 mode) {
    board_.serverConfig.setI16("ipfiltermode", mode);
    saveServerConfig(board_);
}
