#pragma once

#include "data/Board.h"

#include <QPoint>
#include <QSize>

// Pixels stand for the twips of the DOS-era console; only the stored integers must round-trip.
struct ScreenGeometry {
    QSize screen;
    QSize form;
};

struct WindowPlacement {
    QPoint topLeft; // x = left, y = top
    int formWidth = 0;
    bool panelShrunk = false;
};

// The main form's width with the node panel short and with it full.
constexpr int kShrunkFormWidth = 455;
constexpr int kFullFormWidth = 680;

// Reads KELDTS.DAT into the board's image and says where the main form goes.
WindowPlacement loadWindowState(Board& board, const ScreenGeometry& geometry);

// Stores the form's last noted position when it lies on the screen.
void saveWindowState(Board& board, const QPoint& lastTopLeft, const ScreenGeometry& geometry);
