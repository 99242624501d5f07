#include "widgets/findings_pane.h"

#include <fmt/format.h>

#include <QAbstractTableModel>
#include <QClipboard>
#include <QGuiApplication>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QTableView>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>

#include "widgets/flow_layout.h"
#include "widgets/form_editor.h"
#include "widgets/text.h"

namespace kymora {

namespace {

constexpr int shownLetters = 76, shownLines = 14;
constexpr int measuredRows = 200;  // for the widths of columns
constexpr int figures = 5;         // of numbers that four decimals would not show
constexpr const char* outdatedText = "The recording has changed since this was listed.";

std::optional<double> NumberOf(const ResultValue& value) {
    if (const auto* whole = std::get_if<int64_t>(&value)) return static_cast<double>(*whole);
    if (const auto* single = std::get_if<float>(&value)) return static_cast<double>(*single);
    if (const auto* number = std::get_if<double>(&value)) return *number;
    return {};
}

// Four decimals, so that the points of a column stand below each other.
std::string NumberText(double number) {
    const double size = std::fabs(number);
    if (std::isnan(number)) return {};
    if (size != 0.0 && (size < 1e-2 || size >= 1e12)) return fmt::format("{:.{}g}", number, figures);
    return fmt::format("{:.4f}", number);
}

std::string CellText(const ResultValue& value) {
    if (const auto* text = std::get_if<std::string>(&value)) return *text;
    if (const auto* whole = std::get_if<int64_t>(&value)) return fmt::format("{}", *whole);
    const auto number = NumberOf(value);
    return number ? NumberText(*number) : std::string();
}

// Numbers by size, then texts, then what does not exist, which stays at the end in either direction.
bool IsBefore(const ResultValue& a, const ResultValue& b, bool descending) {
    const auto rank = [](const ResultValue& value) {
        const auto number = NumberOf(value);
        if (number) return std::isnan(*number) ? 2 : 0;
        const auto* text = std::get_if<std::string>(&value);
        return text && !text->empty() ? 1 : 2;
    };
    if (rank(a) != rank(b)) return rank(a) < rank(b);
    const ResultValue& low = descending ? b : a;
    const ResultValue& high = descending ? a : b;
    if (rank(a) == 0) return *NumberOf(low) < *NumberOf(high);
    return rank(a) == 1 && std::get<std::string>(low) < std::get<std::string>(high);
}

QString VerdictText(Verdict verdict) {
    return verdict == Verdict::accepted   ? QStringLiteral("\u2713")
           : verdict == Verdict::rejected ? QStringLiteral("\u2717")
                                          : QString();
}

}  // namespace

// The findings in the order that the user chose. Its first column is the verdict.
class FindingsModel : public QAbstractTableModel {
  public:
    using QAbstractTableModel::QAbstractTableModel;

    const Findings& All() const { return findings_; }
    const Finding& At(int row) const { return findings_.rows[order_[static_cast<size_t>(row)]]; }

    bool IsSame(const Findings& findings) const {
        const auto isSame = [](const Finding& a, const Finding& b) {
            return a.onset == b.onset && a.offset == b.offset && a.values == b.values;
        };
        const auto isNamed = [](const ResultColumn& a, const ResultColumn& b) {
            return a.name == b.name && a.unit == b.unit;
        };
        return std::equal(findings.columns.begin(), findings.columns.end(), findings_.columns.begin(),
                          findings_.columns.end(), isNamed) &&
               std::equal(findings.rows.begin(), findings.rows.end(), findings_.rows.begin(),
                          findings_.rows.end(), isSame);
    }

    void Take(Findings findings) {
        std::map<std::pair<int32_t, int32_t>, Verdict> before;
        for (const Finding& finding : findings_.rows)
            if (finding.verdict != Verdict::none) before[{finding.onset, finding.offset}] = finding.verdict;
        for (Finding& finding : findings.rows)
            if (const auto found = before.find({finding.onset, finding.offset}); found != before.end())
                finding.verdict = found->second;
        beginResetModel();
        findings_ = std::move(findings);
        Order();
        endResetModel();
    }

    void Judge(int row, Verdict verdict) {
        findings_.rows[order_[static_cast<size_t>(row)]].verdict = verdict;
        emit dataChanged(index(row, 0), index(row, columnCount() - 1));
    }

    int rowCount(const QModelIndex& parent = {}) const override {
        return parent.isValid() ? 0 : static_cast<int>(findings_.rows.size());
    }
    int columnCount(const QModelIndex& parent = {}) const override {
        return parent.isValid() ? 0 : static_cast<int>(findings_.columns.size()) + 1;
    }

    QVariant headerData(int section, Qt::Orientation orientation, int role) const override {
        if (role != Qt::DisplayRole || orientation == Qt::Vertical) return {};
        if (section == 0) return QStringLiteral("\u2713\u2717");
        const ResultColumn& column = findings_.columns[static_cast<size_t>(section) - 1];
        return ToQString(column.unit.empty() ? column.name : column.name + " (" + column.unit + ")");
    }

    QVariant data(const QModelIndex& at, int role) const override {
        const Finding& finding = At(at.row());
        const bool isRejected = finding.verdict == Verdict::rejected;
        if (at.column() == 0) {
            if (role == Qt::TextAlignmentRole) return Qt::AlignCenter;
            if (role == Qt::AccessibleTextRole)
                return isRejected                             ? tr("rejected")
                       : finding.verdict == Verdict::accepted ? tr("accepted")
                                                              : tr("no verdict");
            return role == Qt::DisplayRole ? VerdictText(finding.verdict) : QVariant();
        }
        const ResultValue& value = finding.values[static_cast<size_t>(at.column()) - 1];
        if (role == Qt::DisplayRole) return ToQString(CellText(value));
        if (role == Qt::TextAlignmentRole && !std::holds_alternative<std::string>(value))
            return QVariant(Qt::AlignRight | Qt::AlignVCenter);
        if (role == Qt::ForegroundRole && isRejected)
            return QGuiApplication::palette().color(QPalette::PlaceholderText);
        if (role == Qt::FontRole && isRejected) {
            QFont struck;
            struck.setStrikeOut(true);
            return struck;
        }
        return {};
    }

    void sort(int column, Qt::SortOrder order) override {
        sortedBy_ = column;
        sortOrder_ = order;
        emit layoutAboutToBeChanged();
        const QModelIndexList before = persistentIndexList();
        std::vector<size_t> held;
        for (const QModelIndex& at : before) held.push_back(order_[static_cast<size_t>(at.row())]);
        Order();
        std::vector<int> rowOf(order_.size());
        for (size_t row = 0; row < order_.size(); ++row) rowOf[order_[row]] = static_cast<int>(row);
        QModelIndexList after;
        for (qsizetype i = 0; i < before.size(); ++i)
            after.append(index(rowOf[held[static_cast<size_t>(i)]], before[i].column()));
        changePersistentIndexList(before, after);
        emit layoutChanged();
    }

  private:
    void Order() {
        order_.resize(findings_.rows.size());
        std::iota(order_.begin(), order_.end(), size_t{0});
        const bool descending = sortOrder_ == Qt::DescendingOrder;
        const auto verdict = [&](size_t i) { return static_cast<int>(findings_.rows[i].verdict); };
        if (sortedBy_ == 0)
            std::stable_sort(order_.begin(), order_.end(), [&](size_t a, size_t b) {
                return descending ? verdict(a) > verdict(b) : verdict(a) < verdict(b);
            });
        else if (sortedBy_ > 0 && sortedBy_ < columnCount())
            std::stable_sort(order_.begin(), order_.end(), [&](size_t a, size_t b) {
                const auto column = static_cast<size_t>(sortedBy_) - 1;
                return IsBefore(findings_.rows[a].values[column], findings_.rows[b].values[column],
                                descending);
            });
    }

    Findings findings_;
    std::vector<size_t> order_;  // of the rows
    int sortedBy_ = -1;
    Qt::SortOrder sortOrder_ = Qt::AscendingOrder;
};

// --- the pane ---

FindingsPane::FindingsPane(const char* rejectionLabel, ResultsPane::Writer all, QWidget* parent)
    : QWidget(parent),
      model_(new FindingsModel(this)),
      table_(new QTableView(this)),
      notice_(new QLabel(this)),
      buttons_(new FlowLayout),
      all_(std::move(all)),
      rejectionLabel_(ToQString(rejectionLabel)) {
    table_->setObjectName("findings");
    table_->setAccessibleName(tr("Findings"));
    table_->setModel(model_);
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setTabKeyNavigation(false);
    table_->setWordWrap(false);
    table_->setAlternatingRowColors(true);
    table_->setSortingEnabled(true);
    table_->horizontalHeader()->setSortIndicatorClearable(true);
    table_->horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder);
    table_->horizontalHeader()->setResizeContentsPrecision(measuredRows);
    table_->verticalHeader()->hide();
    table_->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    table_->verticalHeader()->setDefaultSectionSize(table_->fontMetrics().height() + 6);
    table_->installEventFilter(this);
    notice_->setObjectName("findingsNotice");
    notice_->setWordWrap(true);
    accept_ = MakeButton(tr("Accept"), "accept", tr("Accepts the selected rows (A; Backspace takes it back)"),
                         [this] { Judge(Verdict::accepted); });
    reject_ = MakeButton(tr("Reject"), "reject", tr("Rejects the selected rows (R; Backspace takes it back)"),
                         [this] { Judge(Verdict::rejected); });
    doRejected_ = MakeButton(rejectionLabel_, "doRejected", tr("One step that can be undone"),
                             [this] { emit Rejected(); });
    copy_ = MakeButton(tr("Cop&y"), "copyResults",
                       tr("Copies all of it as text; Ctrl+C in the table copies the selected rows"),
                       [this] { CopyAll(); });
    for (QPushButton* button : {accept_, reject_, doRejected_, copy_}) buttons_->addWidget(button);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins({});
    column->addWidget(table_, 1);
    column->addWidget(notice_);
    column->addLayout(buttons_);
    connect(table_->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this] { emit CurrentChanged(); });
    connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] { ShowState(); });
    Clear();
}

QPushButton* FindingsPane::MakeButton(const QString& label, const char* name, const QString& tip,
                                      const std::function<void()>& does) {
    auto* button = new QPushButton(label, this);
    button->setObjectName(name);
    button->setToolTip(tip);
    button->setAutoDefault(false);
    connect(button, &QPushButton::clicked, this, does);
    return button;
}

QSize FindingsPane::sizeHint() const {
    const QFontMetrics metrics = table_->fontMetrics();
    return {metrics.averageCharWidth() * shownLetters,
            table_->verticalHeader()->defaultSectionSize() * shownLines};
}

void FindingsPane::AddButton(QPushButton* button) { buttons_->addWidget(button); }

std::vector<QWidget*> FindingsPane::TabStops() const {
    return {table_, accept_, reject_, doRejected_, copy_};
}

// --- what it shows ---

void FindingsPane::Show(Findings findings) {
    const bool isFirst = model_->rowCount() == 0;
    notice_->setText(findings.isCut ? tr(resultsCutText) : QString());
    if (model_->IsSame(findings)) return ShowState();
    const Finding* current = Current();
    const auto before = current ? std::optional(std::pair(current->onset, current->offset)) : std::nullopt;
    model_->Take(std::move(findings));
    if (isFirst) table_->resizeColumnsToContents();
    const bool stays = before && GoTo(*before);
    ShowState();
    if (!stays) emit CurrentChanged();
}

// The row of the cursor stays where it is while others come and go; the view does not move for it.
bool FindingsPane::GoTo(std::pair<int32_t, int32_t> place) {
    const QSignalBlocker quiet(this);
    for (int row = 0; row < model_->rowCount(); ++row)
        if (std::pair(model_->At(row).onset, model_->At(row).offset) == place)
            return table_->selectRow(row), true;
    return false;
}

void FindingsPane::SetOutdated() {
    if (model_->rowCount() == 0) return;
    notice_->setText(tr(outdatedText));
    ShowState();
}

const Findings& FindingsPane::Shown() const { return model_->All(); }

const Finding* FindingsPane::Current() const {
    const QModelIndex current = table_->currentIndex();
    return current.isValid() ? &model_->At(current.row()) : nullptr;
}

void FindingsPane::ShowState() {
    const auto& rows = model_->All().rows;
    const auto rejected = std::count_if(rows.begin(), rows.end(),
                                        [](const Finding& f) { return f.verdict == Verdict::rejected; });
    const bool hasSelection = table_->selectionModel()->hasSelection();
    notice_->setVisible(!notice_->text().isEmpty());
    copy_->setEnabled(!rows.empty());
    accept_->setEnabled(hasSelection);
    reject_->setEnabled(hasSelection);
    doRejected_->setEnabled(rejected > 0);
    doRejected_->setText(rejected > 0 ? tr("%1 (%2)").arg(rejectionLabel_).arg(rejected) : rejectionLabel_);
}

// --- what the user does ---

void FindingsPane::Judge(Verdict verdict) {
    int last = -1;
    for (const QModelIndex& row : table_->selectionModel()->selectedRows()) {
        model_->Judge(row.row(), verdict);
        last = std::max(last, row.row());
    }
    if (last >= 0 && last + 1 < model_->rowCount()) table_->selectRow(last + 1);
    table_->setFocus();
    ShowState();
}

bool FindingsPane::eventFilter(QObject* watched, QEvent* event) {
    if (watched != table_ || event->type() != QEvent::KeyPress) return QWidget::eventFilter(watched, event);
    const auto* key = static_cast<QKeyEvent*>(event);
    if (key->matches(QKeySequence::Copy)) return CopySelected(), true;
    if (key->modifiers() != Qt::NoModifier) return false;
    switch (key->key()) {
    case Qt::Key_A:
        return Judge(Verdict::accepted), true;
    case Qt::Key_R:
        return Judge(Verdict::rejected), true;
    case Qt::Key_Backspace:
        return Judge(Verdict::none), true;
    default:
        return false;
    }
}

void FindingsPane::CopySelected() const {
    QModelIndexList rows = table_->selectionModel()->selectedRows();
    std::sort(rows.begin(), rows.end());
    QString text;
    for (const QModelIndex& row : rows) {
        for (int column = 1; column < model_->columnCount(); ++column)
            text += (column > 1 ? "\t" : "") + model_->index(row.row(), column).data().toString();
        text += '\n';
    }
    if (!text.isEmpty()) QGuiApplication::clipboard()->setText(text);
}

void FindingsPane::CopyAll() {
    if (CopyText(all_)) return;
    notice_->setText(tr(tooLongToCopyText));
    ShowState();
}

}  // namespace kymora
