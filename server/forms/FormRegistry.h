#pragma once

#include "data/FormTable.h"

#include <functional>
#include <span>

class Board;
class ProgressView;
class QDialog;
class QWidget;
class Server;

// What a form opened from the menus may need of the running server.
struct FormContext {
    Board& board;
    Server& server;
    // Whether a caller is on any node right now.
    std::function<bool()> nodeInUse;
    // The progress box of the passes that take a while.
    ProgressView* progress = nullptr;
};

// A menu of the main window that holds form entries; `parent` nullptr is the menu bar.
struct FormMenu {
    const char* name;
    const char* parent;
    const char* text;
};

// A menu entry that opens a form or does a job; one without a name is a separator.
struct FormEntry {
    const char* menu; // the object name of the menu it stands in
    const char* name; // its own object name
    const char* text;
    // The table the form is built from, where it has one.
    const formtable::Table* table;
    // Builds the form ready to open; nullptr when it could not read what it shows, which it has
    // told the sysop.
    std::function<QDialog*(FormContext& context, QWidget* parent)> make;
};

// Every form the menus open, in menu order, and the menus they stand in.
std::span<const FormMenu> formMenus();
std::span<const FormEntry> formEntries();
