#include "data/forms/ChannelForm.h"

#include "data/Board.h"
#include "data/EditorErrors.h"
#include "data/FileHelpers.h"
#include "data/RecordFile.h"
#include "data/records/BoardFiles.h"

#include <QGroupBox>
#include <QHBoxLayout>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include <algorithm>

namespace {

using formtable::Control;

constexpr int kNodes = 100;
constexpr qint16 kFossilDevice0 = 65;
const QString kKind = QStringLiteral("node");

// The device index is the position in this list, so its order is part of the file format.
QStringList deviceItems() {
    QStringList items{QStringLiteral("Local")};
    for (int i = 1; i <= 8; ++i)
        items << QStringLiteral("COM%1").arg(i);
    for (int i = 1; i <= 56; ++i)
        items << QStringLiteral("DigiBoard Port %1").arg(i);
    for (int i = 0; i <= 15; ++i)
        items << QStringLiteral("Fossil Device %1").arg(i);
    return items;
}

const formtable::Table& table() {
    static const formtable::Table form{
        "keldchannel",
        "KELD - Channel Configuration",
        {},
        {
            {"init1", "Init String &1:", 0, "Modem"},
            {"init2", "Init String &2:", 0, "Modem"},
            {"init3", "Init String &3:", 0, "Modem"},
            {"answer", "&Answer String:", 0, "Modem"},
            {"dial", "&Dial String:", 0, "Modem"},
            {"offhook", "O&ff-Hook String:", 0, "Modem"},
            {"serialport", "Serial Por&t:", 0, "Port", Control::Combo, deviceItems()},
            {"baseaddy", "Base Addr&ess:", 0, "Port", Control::Hex},
            {"irq", "&IRQ:", 0, "Port", Control::Number},
            {"rtscts",
             "CTS/RTS &Handshake:",
             0,
             "Port",
             Control::Combo,
             {QStringLiteral("No"), QStringLiteral("Yes (Normal)"), QStringLiteral("Yes (Slow)")}},
            {"baudrate", "&Baudrate:", 0, "Speed", Control::Number},
            {"lockedbaud", "&Locked", 0, "Speed", Control::Flag},
            {"minbaud", "&Minimum Baudrate:", 0, "Speed", Control::Number},
        }};
    return form;
}

QPushButton* button(QWidget* parent, const char* name, const QString& text) {
    auto* made = new QPushButton(text, parent);
    made->setObjectName(QLatin1String(name));
    made->setAutoDefault(false);
    return made;
}

} // namespace

ChannelForm::ChannelForm(Board& board, QWidget* parent)
    : TableForm(table(), channelXLayout(), parent), board_(board) {
    // The table's page goes into the node's frame, with the node's scroll bar under it.
    auto* outer = static_cast<QVBoxLayout*>(layout());
    outer->removeWidget(pages());
    frame_ = new QGroupBox(this);
    frame_->setObjectName(QStringLiteral("fraNode"));
    auto* inFrame = new QVBoxLayout(frame_);
    inFrame->addWidget(pages());
    auto* previous = button(frame_, "PreviousNode", QStringLiteral("< &Previous"));
    scroll_ = new QScrollBar(Qt::Horizontal, frame_);
    scroll_->setObjectName(QStringLiteral("scrNodeScroll"));
    scroll_->setRange(1, kNodes);
    auto* next = button(frame_, "NextNode", QStringLiteral("&Next >"));
    auto* nav = new QHBoxLayout;
    nav->addWidget(previous);
    nav->addWidget(scroll_, 1);
    nav->addWidget(next);
    inFrame->addLayout(nav);
    outer->insertWidget(0, frame_);

    QHBoxLayout* buttons = buttonRow();
    auto* setup = button(this, "setupnode", QStringLiteral("&Setup This Node For KELDTS"));
    setup->setToolTip(
        QStringLiteral("Click here to automatically setup this node for use with KELDTS."));
    auto* reload = button(this, "cmdReload", QStringLiteral("&Reload"));
    buttons->insertWidget(0, setup);
    buttons->insertWidget(1, reload);
    auto* ok = findChild<QPushButton*>(QStringLiteral("cmdOK"));
    ok->setToolTip(QStringLiteral("Save this node."));
    QWidget* chain[] = {control("minbaud"), previous, scroll_, next, setup, reload, ok};
    for (size_t i = 1; i < std::size(chain); ++i)
        setTabOrder(chain[i - 1], chain[i]);

    connect(previous, &QPushButton::clicked, this, [this] { showNode(node_ - 1); });
    connect(next, &QPushButton::clicked, this, [this] { showNode(node_ + 1); });
    connect(scroll_, &QScrollBar::valueChanged, this, [this](int value) {
        showNode(value);
        control("init1")->setFocus();
    });
    connect(reload, &QPushButton::clicked, this, [this] { showNode(node_); });
    connect(setup, &QPushButton::clicked, this, [this] {
        // A cleared record has the empty strings and zeros; the rest is a FOSSIL on COM1.
        Record keldts(channelXLayout());
        keldts.setI32("baudrate", 115200);
        keldts.setI16("serialport", kFossilDevice0);
        keldts.setI16("baseaddy", 0x3F8);
        keldts.setI16("irq", 4);
        load(keldts);
        save();
    });
    onOk = [this] {
        save();
        return false;
    };

    filehelpers::touchFile(path("CHANNELS.CFG"), false);
    filehelpers::touchFile(path("CHANNELX.CFG"), false);
    showNode(1);
    if (board_.serverConfig.i16("autoconfig") == 1)
        board_.dialogs.message(QStringLiteral("KELDTS - Message"),
                               QStringLiteral("Automatic Node Configuration is active.\nAny "
                                              "changes to KELDTS nodes will be lost when a user "
                                              "connects."),
                               MessageIcon::Information);
}

QString ChannelForm::path(const char* name) const {
    return board_.filePath("main", QLatin1String(name));
}

void ChannelForm::showNode(int node) {
    node_ = std::clamp(node, 1, kNodes);
    frame_->setTitle(QStringLiteral("Node %1 / %2").arg(node_).arg(kNodes));
    {
        const QSignalBlocker quiet(scroll_);
        scroll_->setValue(node_);
    }
    Record channel(channelXLayout());
    QString error;
    if (!recordfile::read(path("CHANNELX.CFG"), node_, channel, &error)) {
        editorerrors::readFailed(board_.dialogs, kKind, node_);
        failed_ = true;
        reject();
        return;
    }
    load(channel);
}

void ChannelForm::save() {
    // Both records are read back first: the node programs own the fields this form does not
    // show, and those must keep their bytes.
    Record channel(channelXLayout());
    Record older(channelsLayout());
    QString error;
    if (!recordfile::read(path("CHANNELX.CFG"), node_, channel, &error) ||
        !recordfile::read(path("CHANNELS.CFG"), node_, older, &error)) {
        editorerrors::readFailed(board_.dialogs, kKind, node_);
        failed_ = true;
        reject();
        return;
    }
    store(channel, &error);
    older.setStr("init1", channel.str("init1"));
    older.setI32("baudrate", channel.i32("baudrate"));
    older.setI32("minbaud", channel.i32("minbaud"));
    for (const char* field : {"lockedbaud", "rtscts", "serialport", "baseaddy", "irq"})
        older.setI16(field, channel.i16(field));
    if (!recordfile::write(path("CHANNELX.CFG"), node_, channel, &error) ||
        !recordfile::write(path("CHANNELS.CFG"), node_, older, &error)) {
        editorerrors::saveFailed(board_.dialogs, kKind, node_);
        failed_ = true;
        reject();
    }
}
