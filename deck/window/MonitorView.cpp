#include "deck/window/MonitorView.h"

#include "deck/window/Switch.h"

#include <QBoxLayout>
#include <QComboBox>
#include <QFileDialog>
#include <QFontMetrics>
#include <QHeaderView>
#include <QMessageBox>
#include <QPushButton>
#include <QSaveFile>
#include <QScrollBar>
#include <QTableWidget>

#include <array>

namespace deck::window {
namespace {

enum Filter { kEverything, kMMCOnly, kMTCOnly, kTroubleOnly };

QString Text(const std::string& utf8)
{
    return QString::fromStdString(utf8);
}

QTableWidgetItem* MakeCell(const std::string& text, bool isTrouble)
{
    auto* cell = new QTableWidgetItem(Text(text));
    cell->setToolTip(Text(text)); // where the column is too narrow
    cell->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
    if (isTrouble) {
        cell->setForeground(QColor(0xff, 0x8a, 0x70));
    }
    return cell;
}

std::string Line(const MonitorRow& row)
{
    std::string line = row.time + "  +" + row.since + " us  " + row.bytes + "  " + row.meaning;
    return row.effect.empty() ? line : line + "  -> " + row.effect;
}

} // namespace

MonitorView::MonitorView()
    : QGroupBox(tr("Monitor"))
{
    MakeTable();
    mFilter = new QComboBox;
    mFilter->setObjectName("Filter");
    mFilter->setAccessibleName(tr("What the monitor shows"));
    mFilter->setToolTip(tr("What the monitor shows"));
    mFilter->setFocusPolicy(Qt::TabFocus);
    mFilter->addItems({tr("Everything"), tr("MMC"), tr("MTC"), tr("Trouble")});
    mFilter->setCurrentIndex(kMMCOnly); // time code alone is a hundred lines a second
    connect(mFilter, &QComboBox::currentIndexChanged, this, [this] { ShowAll(); });
    mHold = new Switch(
        tr("&Hold"), tr("Hold the monitor still; what comes meanwhile is shown afterwards"));
    mHold->setObjectName("Hold");
    connect(mHold, &QPushButton::toggled, this, [this] {
        ShowAll();
        ShowHeld();
    });
    auto* save = new QPushButton(tr("Sa&ve..."));
    save->setFocusPolicy(Qt::TabFocus);
    connect(save, &QPushButton::clicked, this, [this] { AskWhereToSave(); });
    auto* clear = new QPushButton(tr("&Clear"));
    clear->setFocusPolicy(Qt::TabFocus);
    connect(clear, &QPushButton::clicked, this, [this] { Clear(); });

    auto* rows = new QVBoxLayout(this);
    rows->addWidget(mTable, 1);
    auto* line = new QHBoxLayout;
    line->addWidget(mFilter);
    line->addStretch();
    line->addWidget(mHold);
    line->addWidget(save);
    line->addWidget(clear);
    rows->addLayout(line);
}

void MonitorView::MakeTable()
{
    mTable = new QTableWidget(0, 5);
    mTable->setAccessibleName(tr("Monitor"));
    mTable->setHorizontalHeaderLabels(
        {tr("Time"), tr("+ us"), tr("Meaning"), tr("Effect"), tr("Bytes")});
    mTable->verticalHeader()->hide();
    mTable->verticalHeader()->setDefaultSectionSize(fontMetrics().lineSpacing() + 6);
    mTable->horizontalHeader()->setStretchLastSection(true);
    mTable->setShowGrid(false);
    mTable->setWordWrap(false);
    mTable->setMinimumHeight(7 * fontMetrics().lineSpacing());
    mTable->setSelectionBehavior(QAbstractItemView::SelectRows);
    mTable->setTabKeyNavigation(false);
    const int digit = fontMetrics().horizontalAdvance('0');
    const std::array widths{11, 10, 22, 12};
    for (int column = 0; column < static_cast<int>(widths.size()); ++column) {
        mTable->setColumnWidth(column, digit * widths[static_cast<std::size_t>(column)]);
    }
}

bool MonitorView::Passes(const MonitorRow& row) const
{
    switch (mFilter->currentIndex()) {
    case kMMCOnly:
        return row.kind == MonitorKind::MMC;
    case kMTCOnly:
        return row.kind == MonitorKind::MTC;
    case kTroubleOnly:
        return row.isTrouble;
    default:
        return true;
    }
}

void MonitorView::Add(std::vector<MonitorRow> rows)
{
    const QScrollBar& bar = *mTable->verticalScrollBar();
    const bool follows = bar.value() >= bar.maximum() - 1;
    for (MonitorRow& row : rows) {
        if (Passes(row)) {
            mHold->isChecked() ? void(++mWaiting) : Show(row);
        }
        mRows.push_back(std::move(row));
    }
    while (mRows.size() > kKept) {
        mRows.pop_front();
    }
    if (follows && !rows.empty()) {
        mTable->scrollToBottom();
    }
    ShowHeld();
}

void MonitorView::ShowHeld()
{
    mWaiting = mHold->isChecked() ? mWaiting : 0;
    const QString title
        = mHold->isChecked() ? tr("Monitor, held; %1 wait").arg(mWaiting) : tr("Monitor");
    if (this->title() != title) {
        setTitle(title);
    }
}

void MonitorView::Show(const MonitorRow& row)
{
    const int index = mTable->rowCount();
    mTable->insertRow(index);
    int column = 0;
    for (const std::string* text : {&row.time, &row.since, &row.meaning, &row.effect, &row.bytes}) {
        mTable->setItem(index, column++, MakeCell(*text, row.isTrouble));
    }
    while (mTable->rowCount() > kShown) {
        mTable->removeRow(0);
    }
}

/// After a change of the filter, and when the monitor is let go.
void MonitorView::ShowAll()
{
    if (mHold->isChecked() && sender() == mHold) {
        return;
    }
    std::vector<const MonitorRow*> newest;
    for (auto row = mRows.rbegin(); row != mRows.rend() && newest.size() < kShown; ++row) {
        if (Passes(*row)) {
            newest.push_back(&*row);
        }
    }
    mTable->setRowCount(0);
    for (auto row = newest.rbegin(); row != newest.rend(); ++row) {
        Show(**row);
    }
    mTable->scrollToBottom();
}

void MonitorView::Clear()
{
    mRows.clear();
    mTable->setRowCount(0);
}

QString MonitorView::Save(const QString& name) const
{
    QSaveFile file(name);
    if (!file.open(QIODevice::WriteOnly)) {
        return tr("%1 cannot be written: %2").arg(name, file.errorString());
    }
    const bool isJSON = name.endsWith(".json") || name.endsWith(".jsonl");
    for (const MonitorRow& row : mRows) {
        if (Passes(row)) {
            file.write(QByteArray::fromStdString((isJSON ? row.json : Line(row)) + "\n"));
        }
    }
    return file.commit() ? QString() : tr("%1 cannot be written: %2").arg(name, file.errorString());
}

void MonitorView::AskWhereToSave()
{
    const QString file = QFileDialog::getSaveFileName(
        this, tr("Save the monitor"), "monitor.txt", tr("Text (*.txt);;JSON lines (*.jsonl)"));
    if (file.isEmpty()) {
        return;
    }
    if (const QString problem = Save(file); !problem.isEmpty()) {
        QMessageBox::warning(this, tr("Save the monitor"), problem);
    }
}

} // namespace deck::window
