#include "data/forms/ChannelForm.h"

#include "data/Board.h"
#include "data/SettingsSources.h"
#include "data/SettingsTables.h"
#include "data/records/BoardFiles.h"
#include "data/records/Channels.h"

#include <QGroupBox>
#include <QHBoxLayout>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include <algorithm>

namespace {

constexpr int kNodes = 100;

QPushButton* button(QWidget* parent, const char* name, const QString& text) {
    auto* made = new QPushButton(text, parent);
    made->setObjectName(QLatin1String(name));
    made->setAutoDefault(false);
    return made;
}

} // namespace

ChannelForm::ChannelForm(Board& board, QWidget* parent)
    : RecordDialog(channelTable(), std::make_unique<ChannelSource>(board), board.dialogs, parent),
      channels_(static_cast<ChannelSource&>(source())) {
    setClosesAfterSave(false);
    // The editor goes into the node's frame, with the node's scroll bar under it.
    auto* outer = static_cast<QVBoxLayout*>(layout());
    outer->removeWidget(editor());
    frame_ = new QGroupBox(this);
    frame_->setObjectName(QStringLiteral("fraNode"));
    auto* inFrame = new QVBoxLayout(frame_);
    inFrame->addWidget(editor());
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

    auto* setup = button(this, "setupnode", QStringLiteral("&Setup This Node For KELDTS"));
    setup->setToolTip(
        QStringLiteral("Click here to automatically setup this node for use with KELDTS."));
    auto* reload = button(this, "cmdReload", QStringLiteral("&Reload"));
    buttonRow()->insertWidget(0, setup);
    buttonRow()->insertWidget(1, reload);
    auto* ok = findChild<QPushButton*>(QStringLiteral("cmdOK"));
    ok->setToolTip(QStringLiteral("Save this node."));
    QWidget* chain[] = {editor()->control("minbaud"), previous, scroll_, next, setup, reload, ok};
    for (size_t i = 1; i < std::size(chain); ++i)
        setTabOrder(chain[i - 1], chain[i]);

    connect(previous, &QPushButton::clicked, this, [this] { showNode(node() - 1); });
    connect(next, &QPushButton::clicked, this, [this] { showNode(node() + 1); });
    connect(scroll_, &QScrollBar::valueChanged, this, [this](int value) {
        showNode(value);
        editor()->control("init1")->setFocus();
    });
    connect(reload, &QPushButton::clicked, this, [this] { showNode(node()); });
    connect(setup, &QPushButton::clicked, this, [this] {
        editor()->fill(fossilChannel(channelXLayout()));
        save();
    });
    selectNode(1);
    if (board.serverConfig.i16("autoconfig") == 1)
        board.dialogs.message(QStringLiteral("KELDTS - Message"),
                              QStringLiteral("Automatic Node Configuration is active.\nAny "
                                             "changes to KELDTS nodes will be lost when a user "
                                             "connects."),
                              MessageIcon::Information);
}

int ChannelForm::node() const {
    return channels_.number();
}

void ChannelForm::selectNode(int node) {
    channels_.setNumber(std::clamp(node, 1, kNodes));
    frame_->setTitle(QStringLiteral("Node %1 / %2").arg(channels_.number()).arg(kNodes));
    const QSignalBlocker quiet(scroll_);
    scroll_->setValue(channels_.number());
}

void ChannelForm::showNode(int node) {
    selectNode(node);
    loadRecord();
}
