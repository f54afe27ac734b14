// The live monitor: what came and went, filtered, held still, saved.

#pragma once

#include "deck/window/WindowModel.h"

#include <QGroupBox>

#include <deque>

class QComboBox;
class QTableWidget;

namespace deck::window {

class Switch;

/// All of it on the thread of the QApplication.
class MonitorView final : public QGroupBox {
public:
    static constexpr std::size_t kKept = 5000;
    static constexpr int kShown = 500; // the newest of those that pass the filter

    MonitorView();

    void Add(std::vector<MonitorRow> rows);
    void Clear();

    /// All that is kept and passes the filter, also what is not shown any more: JSON lines where
    /// the file is called `.json` or `.jsonl`, else text. Empty when that went well, or one line
    /// saying what did not.
    QString Save(const QString& file) const;

private:
    void MakeTable();
    bool Passes(const MonitorRow& row) const;
    void Show(const MonitorRow& row);
    void ShowAll();
    void ShowHeld();
    void AskWhereToSave();

    std::deque<MonitorRow> mRows;
    QTableWidget* mTable = nullptr;
    QComboBox* mFilter = nullptr;
    Switch* mHold = nullptr;
    int mWaiting = 0; // rows that came while it was held
};

} // namespace deck::window
