#include "ui/desktop/setup_dialogs.h"

#include <QButtonGroup>
#include <QDialogButtonBox>
#include <QEventLoop>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollArea>
#include <QThread>
#include <QVBoxLayout>
#include <cmath>
#include <vector>

#include "base/fault.h"
#include "base/text_format.h"
#include "base/vb.h"
#include "run/initial_state.h"
#include "run/node_equilibrium.h"
#include "thermo/constants.h"
#include "thermo/silicate_liquid.h"
#include "trace/partition_preset.h"
#include "transport/compaction.h"

namespace cx::desktop {

namespace {

QString q(std::string_view s) {
  return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size()));
}

std::string text(const QLineEdit* f) {
  return f->text().toStdString();
}

QPushButton* button(QWidget* parent, const char* name, const QString& caption) {
  auto* b = new QPushButton(caption, parent);
  b->setObjectName(name);
  b->setAutoDefault(false);
  return b;
}

// A form's command: the button's object name, its caption and the slot it calls.
template <class Dialog>
struct Command {
  const char* name;
  const char* caption;
  void (Dialog::*slot)();
};

// The form's command buttons, wired to their slots, laid out in rows of `perRow`.
template <class Dialog, std::size_t N>
QGridLayout* commandButtons(Dialog* d, const Command<Dialog> (&commands)[N], int perRow) {
  auto* grid = new QGridLayout;
  int n = 0;
  for (const Command<Dialog>& c : commands) {
    auto* b = button(d, c.name, c.caption);
    QObject::connect(b, &QPushButton::clicked, d, c.slot);
    grid->addWidget(b, n / perRow, n % perRow);
    ++n;
  }
  return grid;
}

// OK (and Cancel) at the foot of a dialog.
QDialogButtonBox* okButtons(QDialog* d, bool cancel) {
  auto* box = new QDialogButtonBox(d);
  auto* ok = box->addButton(QDialogButtonBox::Ok);
  ok->setObjectName("cmdOK");
  ok->setAutoDefault(false);
  QObject::connect(ok, &QPushButton::clicked, d, &QDialog::accept);
  if (cancel) {
    auto* c = box->addButton(QDialogButtonBox::Cancel);
    c->setObjectName("cmdCancel");
    c->setAutoDefault(false);
    QObject::connect(c, &QPushButton::clicked, d, &QDialog::reject);
  }
  return box;
}

std::string celsius(double kelvin) {
  return formatExact(kelvin - kKelvinOffset, "Fixed");
}

// The composition shown in a block of fields.
void showComposition(const CompositionFields& f, const std::function<double(int)>& ox,
                     const std::function<double(int)>& trace) {
  for (int j = 1; j <= kOxides; ++j) f.oxides[j]->setText(q(formatExact(ox(j), "Fixed")));
  for (int t = 1; t <= kTraces; ++t) f.traces[t]->setText(q(formatExact(trace(t), "Fixed")));
}

// Scales the oxides to a sum of 100 wt % (nothing happens to an empty composition).
bool normalizeTo100(const std::function<double&(int)>& ox) {
  double sum = 0.0;
  for (int j = 1; j <= kOxides; ++j) sum += ox(j);
  if (!(sum > 0.0)) return false;
  for (int j = 1; j <= kOxides; ++j) ox(j) *= 100.0 / sum;
  return true;
}

}  // namespace

// --- The searches ----------------------------------------------------------------------------

class FormSearcher::SearchPort : public Port {
 public:
  explicit SearchPort(Port& window) : window_(window) {}
  void setStatus(std::string_view t) override { window_.setStatus(t); }
  void setModuleId(std::string_view t) override { window_.setModuleId(t); }
  void setLabel(std::string_view n, std::string_view t) override { window_.setLabel(n, t); }
  void appendEvent(std::string_view t) override { window_.appendEvent(t); }
  void showMessage(std::string_view t) override { window_.showMessage(t); }
  bool askYesNo(std::string_view question) override { return window_.askYesNo(question); }
  void beep() override { window_.beep(); }
  // A search tests its own halt flag at each step; nothing else waits for a turn.
  void doEvents() override {}
  void showProgress(const ProgressInfo& info) override {
    if (progress) progress(info);
  }
  void plotResults() override {}
  Progress progress;

 private:
  Port& window_;
};

// A search's reports go to the events view and the status line; a search never pauses to ask.
class FormSearcher::SearchDiagnostics : public Diagnostics {
 public:
  explicit SearchDiagnostics(Port& port) : port_(port) {}
  void ErrorReport(const std::string& msg, bool) override {
    port_.appendEvent(msg);
    port_.setStatus(msg);
  }

 private:
  Port& port_;
};

FormSearcher::FormSearcher(const Column& column, const Settings& settings, Port& windowPort)
    : column_(column),
      settings_(settings),
      port_(std::make_unique<SearchPort>(windowPort)),
      diag_(std::make_unique<SearchDiagnostics>(*port_)) {}

FormSearcher::~FormSearcher() = default;

void FormSearcher::halt() {
  diag_->HaltFlag = true;
}

void FormSearcher::run(const Job& job, Progress progress) {
  if (running_) return;
  // The model follows the column's exclusions and activity options; it is made (or made anew)
  // here, on the window's thread, which owns the column.
  if (!solver_) solver_ = std::make_unique<ColumnSolver>();
  EquilibriumModel& model = solver_->model(column_, settings_, *diag_, *port_);
  diag_->HaltFlag = false;
  diag_->ErrorFlag = false;
  port_->progress = std::move(progress);
  running_ = true;
  QThread* thread = QThread::create([&] {
    try {
      job(model, *port_);
    } catch (const Fault& f) {
      port_->showMessage(std::to_string(f.number()) + " error in the search: " + f.what());
    }
  });
  QEventLoop loop;
  QObject::connect(thread, &QThread::finished, &loop, &QEventLoop::quit);
  thread->start();
  loop.exec();
  thread->wait();
  delete thread;
  port_->progress = nullptr;
  running_ = false;
}

// --- The common part -------------------------------------------------------------------------

SetupDialog::SetupDialog(Column& column, Settings& settings, Port& port, const char* name,
                         const QString& title, QWidget* parent)
    : QDialog(parent), column_(column), settings_(settings), port_(port) {
  setObjectName(name);
  setWindowTitle(title);
}

QLineEdit* SetupDialog::field(const QString& name) const {
  return findChild<QLineEdit*>(name);
}

QLineEdit* SetupDialog::makeField(const QString& name, Check check, Apply apply) {
  auto* f = new QLineEdit(this);
  f->setObjectName(name);
  f->setMinimumWidth(90);
  f->setMaximumWidth(120);
  connect(f, &QLineEdit::editingFinished, this,
          [this, f, check = std::move(check), apply = std::move(apply)] {
            checkField(f, check, apply);
          });
  return f;
}

void SetupDialog::showText(QLineEdit* field, const std::string& t) {
  field->setText(q(t));
  field->setProperty("shown", field->text());
}

void SetupDialog::message(std::string_view t) {
  port_.showMessage(t);
}

QWidget* SetupDialog::makeSearchBar() {
  searchBar_ = new QWidget(this);
  auto* layout = new QHBoxLayout(searchBar_);
  layout->setContentsMargins(0, 0, 0, 0);
  searchLine_ = new QLabel(searchBar_);
  searchLine_->setObjectName("lblSearch");
  searchLine_->setMinimumWidth(360);
  searchProgress_ = new QProgressBar(searchBar_);
  searchProgress_->setObjectName("pbSearch");
  searchProgress_->setRange(0, 100);
  searchProgress_->setValue(0);
  searchProgress_->setTextVisible(true);
  searchProgress_->setMaximumWidth(160);
  // Shown only while a search goes: an empty bar would pass for a field.
  searchProgress_->hide();
  searchProgress_->setToolTip("How far the leading phase's affinity has come toward zero");
  halt_ = button(searchBar_, "cmdHalt", "&Halt");
  halt_->setEnabled(false);
  halt_->setToolTip("Stop the search at its next step");
  connect(halt_, &QPushButton::clicked, this, &SetupDialog::haltSearch);
  layout->addWidget(searchLine_, 1);
  layout->addWidget(searchProgress_);
  layout->addWidget(halt_);
  return searchBar_;
}

void SetupDialog::haltSearch() {
  if (searching_ && searcher_ != nullptr) searcher_->halt();
}

QString SetupDialog::searchText() const {
  return searchLine_ != nullptr ? searchLine_->text() : QString();
}

void SetupDialog::reject() {
  if (searching_) {
    haltSearch();
    return;
  }
  QDialog::reject();
}

bool SetupDialog::runSearch(SetupServices& services, const FormSearcher::Job& job) {
  if (services.searcher == nullptr || searching_ || services.searcher->running()) return false;
  searching_ = true;
  searcher_ = services.searcher;
  // Every control but Halt waits for the search.
  std::vector<QWidget*> waiting;
  for (QWidget* w : findChildren<QWidget*>(Qt::FindDirectChildrenOnly))
    if (w != searchBar_ && w->isEnabled()) {
      w->setEnabled(false);
      waiting.push_back(w);
    }
  if (halt_ != nullptr) halt_->setEnabled(true);
  if (searchProgress_ != nullptr) {
    searchProgress_->setValue(0);
    searchProgress_->show();
  }
  if (searchLine_ != nullptr) searchLine_->setText("Searching...");
  reports_ = 0;
  searcher_->run(job, [this](const ProgressInfo& info) {
    const int n = ++reports_;
    if (searchObserver_) searchObserver_(info);
    QMetaObject::invokeMethod(
        this, [this, info, n] { showSearchProgress(info, n); }, Qt::QueuedConnection);
  });
  if (halt_ != nullptr) halt_->setEnabled(false);
  if (searchProgress_ != nullptr) searchProgress_->hide();
  for (QWidget* w : waiting) w->setEnabled(true);
  searching_ = false;
  searcher_ = nullptr;
  return true;
}

void SetupDialog::showSearchProgress(const ProgressInfo& info, int report) {
  if (searchLine_ == nullptr) return;
  const double a = info.affinities.empty() ? 0.0 : info.affinities.front();
  const int phase = info.saturatedPhases.empty() ? 0 : info.saturatedPhases.front();
  // The liquidus search's own measure: ln |affinity| + 3 falls from its first value (the
  // scale) to 3 as the leading phase comes to saturation within 1 J.
  const double term = std::log(std::max(std::fabs(a), 1.0)) + 3.0;
  if (report == 1) searchScale_ = std::floor(term);
  const double span = std::max(searchScale_ - 3.0, 1.0);
  // The bar keeps the furthest point reached: a step that overshoots does not move it back.
  const int value = std::clamp(static_cast<int>(100.0 * (searchScale_ - term) / span), 0, 100);
  searchProgress_->setValue(report == 1 ? value : std::max(value, searchProgress_->value()));
  searchLine_->setText(QString("Step %1:  %2 C,  %3,  affinity %4 J (%5)")
                           .arg(info.attempt)
                           .arg(q(formatNumber(info.temperatureK - kKelvinOffset, "0.00")))
                           .arg(phase >= 1 && phase <= kPhases
                                    ? q(PhaseNames[static_cast<std::size_t>(phase)])
                                    : QString("-"))
                           .arg(q(formatNumber(a, "0.0")))
                           .arg(a < 0.0 ? "crystallizes" : "not saturated"));
}

void SetupDialog::checkField(QLineEdit* f, const Check& check, const Apply& apply) {
  // The message box takes the focus, which would end the editing once more.
  if (checking_) return;
  const QString before = f->property("shown").toString();
  if (f->text() == before) return;
  checking_ = true;
  const FieldCheck c = check(f->text().toStdString(), before.toStdString());
  f->setText(q(c.text));
  f->setProperty("shown", f->text());
  apply(c.text);
  if (!c.accepted) {
    port_.beep();
    message(c.message);
    // The restored value, selected so that it can be overtyped.
    f->setFocus();
    f->selectAll();
  }
  checking_ = false;
  emit setupChanged();
}

// --- MiscForm --------------------------------------------------------------------------------

namespace {
constexpr std::array<const char*, misc::kCount> kMiscCaptions = {
    "Initial liquid fraction",
    "Diffusivity (cm2 sec-1)",
    "Maximum T (top, C)",
    "Maximum T (bottom, C)",
    "Minimum T (top, C)",
    "Minimum T (bottom, C)",
    "T Step (C/day), top",
    "T Step (C/day), bottom",
    "Allowable equilibration entropy error (0.01 J/C typical)",
    "Time step multiplier  (0.01 - 1.0 typical)",
    "Min. F(liq) for equilbration  (0.10 typical)",
    "Record save interval (1-10 typical)",
    "Vapor velocity parameter",
    "F(liq) for drip",
    "Relative thickness (0 - 3)",
    "Initial T Farfield       (0 - 2500 C), top",
    "Initial T Farfield, bottom (C)",
    "# iterations between equilibration (1 typical)",
};
}  // namespace

MiscDialog::MiscDialog(Column& column, Settings& settings, Port& port, QWidget* parent)
    : SetupDialog(column, settings, port, "MiscForm", "Miscellaneous Parameters", parent) {
  auto* thermal = new QGroupBox("Temperatures and time", this);
  auto* thermalForm = new QFormLayout(thermal);
  auto* other = new QGroupBox("Equilibration, gas, far field", this);
  auto* otherForm = new QFormLayout(other);
  for (int k = 0; k < misc::kCount; ++k) {
    auto* f = makeField(
        QString("tbInput(%1)").arg(k),
        [this, k](std::string_view t, std::string_view) {
          const double rate = k == misc::kTStepTop ? column_.TopCoolRate : column_.BottomCoolRate;
          return settings_.checkMiscField(k, t, rate);
        },
        [this, k](const std::string& t) {
          settings_.setMiscText(k, t);
          if (k == misc::kTStepTop || k == misc::kTStepBottom) {
            // The field holds °C per day; the run works in K per second.
            const double rate = val(t) / kSecondsPerDay;
            (k == misc::kTStepTop ? column_.TopCoolRate : column_.BottomCoolRate) = rate;
            port_.setLabel(k == misc::kTStepTop ? "lblTopCoolRate" : "lblBottomCoolRate",
                           formatNumber(rate * kSecondsPerDay, "#0.00000"));
          }
          if (k == misc::kVaporVelocity) {
            port_.setLabel("lblVwater", vwaterParameterLabel(column_, settings_));
            fields_[misc::kVaporVelocity]->setToolTip(q(vwaterTip(settings_)));
          }
        });
    fields_[static_cast<std::size_t>(k)] = f;
    const bool isThermal = k <= misc::kTStepBottom || k == misc::kTimeStepMultiplier;
    (isThermal ? thermalForm : otherForm)->addRow(kMiscCaptions[static_cast<std::size_t>(k)], f);
  }

  auto* behavior = new QGroupBox("Magma crystallization behavior", this);
  auto* behaviorLayout = new QVBoxLayout(behavior);
  auto* mixing = new QGroupBox("Mixing behavior", this);
  auto* mixingLayout = new QVBoxLayout(mixing);
  auto* behaviorGroup = new QButtonGroup(this);
  auto* mixingGroup = new QButtonGroup(this);
  struct Opt {
    const char* name;
    const char* caption;
    bool Settings::*flag;
    bool crystals;
  };
  static constexpr Opt kOptions[] = {
      {"optionBottomAccum", "&Crystal settling", &Settings::optionBottomAccum, true},
      {"OptionDrip", "D&rip off top", &Settings::OptionDrip, true},
      {"optionLocal", "&Local equilibrium", &Settings::optionLocal, true},
      {"optionMix", "&Mix magma", &Settings::optionMix, false},
      {"optionDisplace", "&Displace magma", &Settings::optionDisplace, false},
  };
  for (const Opt& o : kOptions) {
    auto* r = new QRadioButton(o.caption, this);
    r->setObjectName(o.name);
    (o.crystals ? behaviorGroup : mixingGroup)->addButton(r);
    (o.crystals ? behaviorLayout : mixingLayout)->addWidget(r);
    connect(r, &QRadioButton::toggled, this, [this, o](bool on) {
      settings_.*(o.flag) = on;
      if (!on) return;
      if (o.crystals)
        port_.setLabel("lblSettling", o.flag == &Settings::OptionDrip    ? "Drip"
                                      : o.flag == &Settings::optionLocal ? "Local"
                                                                         : "Xtl set'lg");
      else
        port_.setLabel("lblMixing", o.flag == &Settings::optionMix ? "Mixed" : "Displace");
      emit setupChanged();
    });
  }

  auto* grid = new QGridLayout;
  grid->addWidget(thermal, 0, 0, 2, 1);
  grid->addWidget(other, 0, 1, 2, 1);
  grid->addWidget(behavior, 0, 2);
  grid->addWidget(mixing, 1, 2);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(grid);
  layout->addWidget(okButtons(this, false));
  refresh();
}

QRadioButton* MiscDialog::option(const QString& name) const {
  return findChild<QRadioButton*>(name);
}

void MiscDialog::refresh() {
  // Each field in its own format from the start, as an accepted value shows.
  for (int k = 0; k < misc::kCount; ++k)
    showText(fields_[static_cast<std::size_t>(k)], settings_.miscShownText(k));
  fields_[misc::kVaporVelocity]->setToolTip(q(vwaterTip(settings_)));
  const Settings s = settings_;  // the toggles below write the settings
  option("optionBottomAccum")->setChecked(s.optionBottomAccum);
  option("OptionDrip")->setChecked(s.OptionDrip);
  option("optionLocal")->setChecked(s.optionLocal);
  option("optionMix")->setChecked(s.optionMix);
  option("optionDisplace")->setChecked(s.optionDisplace);
}

void MiscDialog::accept() {
  // A field being edited is checked before the form closes.
  if (auto* f = qobject_cast<QLineEdit*>(focusWidget())) emit f->editingFinished();
  hide();
  // The far field is sized and set to its initial temperatures at a fresh start; a run held
  // between iterations keeps the temperatures it has reached.
  if (!runHeld_) column_.DimensionFarfield(settings_);
  port_.plotResults();
  emit setupChanged();
  QDialog::accept();
}

// --- CompactForm -----------------------------------------------------------------------------

namespace {
constexpr std::array<const char*, compact::kCount> kCompactCaptions = {
    "Maximum liquid fraction (0.0 - 1.0)",
    "Minimum liquid fraction (0.001 - 0.05 typ.)",
    "Grain radius (mm)",
    "Solid 'compaction' viscosity (Pa s)",
    "Liquid viscosity (Pa s)",
    "Permeability constant (Ko)",
    "Density difference (g/cc)"};
}  // namespace

CompactDialog::CompactDialog(Column& column, Settings& settings, Port& port, QWidget* parent)
    : SetupDialog(column, settings, port, "CompactForm", "Compaction Parameters", parent) {
  auto* form = new QFormLayout;
  for (int k = 0; k < compact::kCount; ++k) {
    fields_[static_cast<std::size_t>(k)] = makeField(
        QString("txtbxInput(%1)").arg(k),
        [this, k](std::string_view t, std::string_view) {
          return settings_.checkCompactField(k, t);
        },
        [this, k](const std::string& t) {
          settings_.setCompactText(k, t);
          SetScaledValues();
        });
    form->addRow(kCompactCaptions[static_cast<std::size_t>(k)],
                 fields_[static_cast<std::size_t>(k)]);
  }
  constantRho_ = new QCheckBox("Use constant density difference", this);
  constantRho_->setObjectName("chkConstantRho");
  constantVis_ = new QCheckBox("Use constant liquid viscosity", this);
  constantVis_->setObjectName("chkConstantVis");
  connect(constantRho_, &QCheckBox::toggled, this, [this](bool on) {
    settings_.chkConstantRho = on ? 1 : 0;
    emit setupChanged();
  });
  connect(constantVis_, &QCheckBox::toggled, this, [this](bool on) {
    settings_.chkConstantVis = on ? 1 : 0;
    emit setupChanged();
  });
  auto* scales = new QGroupBox("Characteristic scales", this);
  auto* scalesForm = new QFormLayout(scales);
  lengthScale_ = new QLabel(scales);
  lengthScale_->setObjectName("lblLengthScale");
  timeScale_ = new QLabel(scales);
  timeScale_->setObjectName("lblTimeScale");
  velocity_ = new QLabel(scales);
  velocity_->setObjectName("lblVelocity");
  scalesForm->addRow("Compaction length (m):", lengthScale_);
  scalesForm->addRow("Compaction time (days):", timeScale_);
  scalesForm->addRow("Compaction velocity (cm/s):", velocity_);
  auto* hadley = button(this, "cmdHadley", "Use &Hadley...");
  connect(hadley, &QPushButton::clicked, this, &CompactDialog::useHadley);

  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  layout->addWidget(constantRho_);
  layout->addWidget(constantVis_);
  layout->addWidget(scales);
  auto* foot = new QHBoxLayout;
  foot->addWidget(hadley);
  foot->addStretch(1);
  foot->addWidget(okButtons(this, false));
  layout->addLayout(foot);
  refresh();
}

void CompactDialog::refresh() {
  for (int k = 0; k < compact::kCount; ++k)
    showText(fields_[static_cast<std::size_t>(k)], settings_.compactText(k));
  const int rho = settings_.chkConstantRho, vis = settings_.chkConstantVis;
  constantRho_->setChecked(rho == 1);
  constantVis_->setChecked(vis == 1);
  SetScaledValues();
}

void CompactDialog::SetScaledValues() {
  // A zero viscosity or grain radius leaves a scale undefined: it shows a dash.
  auto shown = [](const std::function<std::string()>& f) {
    try {
      return q(f());
    } catch (const Fault&) {
      return QString("-");
    }
  };
  lengthScale_->setText(
      shown([this] { return formatNumber(settings_.compactionLength() / 100.0, "fixed"); }));
  timeScale_->setText(shown(
      [this] { return formatNumber(settings_.compactionTimeScaleDays(), "###,###,###.00"); }));
  velocity_->setText(
      shown([this] { return formatNumber(settings_.compactionVelocity(), "scientific"); }));
  // In compaction the gas velocity follows the compaction velocity.
  port_.setLabel("lblVwater", vwaterParameterLabel(column_, settings_));
}

QString CompactDialog::scaleText(const QString& name) const {
  auto* l = findChild<QLabel*>(name);
  return l != nullptr ? l->text() : QString();
}

void CompactDialog::useHadley() {
  if (!UseHadleyValues(settings_, port_)) return;
  refresh();
  emit setupChanged();
}

// --- Composition blocks ----------------------------------------------------------------------

namespace {

// Lays out 15 oxide and 40 trace fields made by `make` under their names.
QWidget* compositionBlock(QWidget* parent, CompositionFields& f,
                          const std::function<QLineEdit*(bool oxide, int index)>& make) {
  auto* box = new QWidget(parent);
  auto* layout = new QHBoxLayout(box);
  layout->setContentsMargins(0, 0, 0, 0);
  auto* oxides = new QGroupBox("Oxides (wt %)", box);
  auto* oxGrid = new QFormLayout(oxides);
  oxGrid->setVerticalSpacing(1);
  for (int j = 1; j <= kOxides; ++j) {
    f.oxides[j] = make(true, j);
    f.oxides[j]->setMinimumWidth(80);
    f.oxides[j]->setMaximumWidth(90);
    oxGrid->addRow(q(OxideNames[j]), f.oxides[j]);
  }
  auto* traces = new QGroupBox("Trace elements (ppm)", box);
  auto* trGrid = new QGridLayout(traces);
  trGrid->setVerticalSpacing(1);
  constexpr int kRows = 14;
  for (int t = 1; t <= kTraces; ++t) {
    f.traces[t] = make(false, t);
    f.traces[t]->setMinimumWidth(70);
    f.traces[t]->setMaximumWidth(80);
    const int row = (t - 1) % kRows, col = 2 * ((t - 1) / kRows);
    trGrid->addWidget(new QLabel(q(TraceNames[t]), traces), row, col, Qt::AlignRight);
    trGrid->addWidget(f.traces[t], row, col + 1);
  }
  layout->addWidget(oxides, 0, Qt::AlignTop);
  layout->addWidget(traces, 1, Qt::AlignTop);
  return box;
}

// A new value moves the focus to the next field of the block, until the last.
void chainFocus(const CompositionFields& f) {
  std::vector<QLineEdit*> order;
  for (int j = 1; j <= kOxides; ++j) order.push_back(f.oxides[j]);
  for (int t = 1; t <= kTraces; ++t) order.push_back(f.traces[t]);
  for (std::size_t i = 0; i + 1 < order.size(); ++i) {
    QLineEdit* next = order[i + 1];
    QObject::connect(order[i], &QLineEdit::returnPressed, next, [next] {
      next->setFocus();
      next->selectAll();
    });
  }
}

}  // namespace

// --- BulkForm --------------------------------------------------------------------------------

namespace {
constexpr std::array<const char*, bulk::kCount> kBulkCaptions = {
    "T (node, C)",     "Total Length (m)", "Pressure (bars, top)", "T (top)", "T (bottom)",
    "Number of nodes", "Node shown"};
}  // namespace

BulkDialog::BulkDialog(Column& column, Settings& settings, Port& port, SetupServices services,
                       QWidget* parent)
    : SetupDialog(column, settings, port, "BulkForm", "Bulk Composition of the Nodes", parent),
      services_(std::move(services)) {
  auto* columnBox = new QGroupBox("Column", this);
  auto* columnForm = new QFormLayout(columnBox);
  auto* nodeBox = new QGroupBox("Node", this);
  auto* nodeForm = new QFormLayout(nodeBox);
  for (int k = 0; k < bulk::kCount; ++k) {
    auto* f = makeField(
        QString("tbinput(%1)").arg(k),
        [this, k](std::string_view t, std::string_view before) {
          return Settings::checkBulkField(k, t, before, column_.NumNodes);
        },
        [this, k](const std::string& t) {
          const double v = val(t);
          switch (k) {
            case bulk::kNodeT:
              column_.InitT(node_) = column_.Temp(node_) = v + kKelvinOffset;
              column_.InitialNeeded = true;
              break;
            case bulk::kLengthM:
              column_.Length = column_.LengthR8 = v * 100.0;
              column_.DeltaX = column_.Length / column_.NumNodes;
              stepLength_->setText(q(formatNumber(column_.DeltaX, "fixed")));
              column_.InitialNeeded = true;
              break;
            case bulk::kPressure:
              column_.TopPressure = v;
              column_.InitialNeeded = true;
              break;
            case bulk::kNumNodes:
              if (static_cast<int>(v) != column_.NumNodes) setNodeCount(static_cast<int>(v));
              break;
            case bulk::kNode:
              showNode(static_cast<int>(v));
              break;
            default:
              break;  // T (top) and T (bottom) wait for the uniform gradient
          }
        });
    fields_[static_cast<std::size_t>(k)] = f;
    const bool ofNode = k == bulk::kNodeT || k == bulk::kNode;
    (ofNode ? nodeForm : columnForm)->addRow(kBulkCaptions[static_cast<std::size_t>(k)], f);
  }
  stepLength_ = new QLabel(columnBox);
  stepLength_->setObjectName("lblStepLength");
  columnForm->addRow("Step length (cm)", stepLength_);
  nodeCaption_ = new QLabel(nodeBox);
  nodeForm->addRow(nodeCaption_);
  endNote_ = new QLabel(nodeBox);
  endNote_->setObjectName("lblEndNodes");
  endNote_->setWordWrap(true);
  nodeForm->addRow(endNote_);

  QWidget* block = compositionBlock(this, comp_, [this](bool oxide, int i) {
    return makeField(
        QString(oxide ? "txtbxOxBulk(%1)" : "txtbxTraceBulk(%1)").arg(i),
        [](std::string_view t, std::string_view before) {
          return Settings::checkCompositionField(t, before);
        },
        [this, oxide, i](const std::string& t) {
          (oxide ? column_.InitBulkOx : column_.InitBulkTrace)(node_, i) = val(t);
          if (oxide && node_ <= column_.NumNodes) column_.BulkOx(node_, i) = val(t);
          column_.InitialNeeded = true;
        });
  });
  chainFocus(comp_);

  static constexpr Command<BulkDialog> kCommands[] = {
      {"cmdPrevious", "<< &Previous node", &BulkDialog::cmdPrevious},
      {"cmdNextNode", "&Next node >>", &BulkDialog::cmdNextNode},
      {"cmdSameAsPrevious", "Same as pre&vious", &BulkDialog::cmdSameAsPrevious},
      {"cmdSameAsNext", "Same as ne&xt", &BulkDialog::cmdSameAsNext},
      {"cmdUniformT", "Make uniform &T gradient", &BulkDialog::cmdUniformT},
      {"cmdUniformBulk", "Make &uniform bulk comp.", &BulkDialog::cmdUniformBulk},
      {"NormalizeBulk", "N&ormalize oxide wts. to 100.00", &BulkDialog::NormalizeBulk},
      {"Liquidus", "Find &Liquidus T", &BulkDialog::Liquidus},
  };
  QGridLayout* commands = commandButtons(this, kCommands, 4);
  auto* top = new QHBoxLayout;
  top->addWidget(columnBox);
  top->addWidget(nodeBox);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(top);
  layout->addWidget(block);
  layout->addLayout(commands);
  layout->addWidget(makeSearchBar());
  layout->addWidget(okButtons(this, false));
  refresh();
}

void BulkDialog::refresh() {
  const Column& c = column_;
  showText(fields_[bulk::kLengthM], formatExact(c.Length / 100.0, "Fixed"));
  showText(fields_[bulk::kPressure], formatExact(c.TopPressure, "Fixed"));
  showText(fields_[bulk::kTTop], celsius(c.InitT(c.NumNodes)));
  showText(fields_[bulk::kTBottom], celsius(c.InitT(1)));
  showText(fields_[bulk::kNumNodes], std::to_string(c.NumNodes));
  stepLength_->setText(q(formatNumber(c.DeltaX, "fixed")));
  // Without far-field slabs the end nodes are held at the far-field temperatures, which OK
  // (DimensionFarfield) writes into them: say so, since it overrides what is typed here.
  const bool slabs = toInt16(settings_.misc(misc::kFarfieldThickness)) >= 1;
  endNote_->setText(slabs
                        ? QString()
                        : QString("On OK, node 1 takes %1 C and node %2 takes %3 C, the far-field "
                                  "temperatures of Setup Misc.")
                              .arg(q(settings_.miscText(misc::kFarfieldTBottom)))
                              .arg(c.NumNodes)
                              .arg(q(settings_.miscText(misc::kFarfieldTTop))));
  showNode(std::clamp(node_, 1, c.NumNodes));
}

void BulkDialog::showNode(int node) {
  node_ = node;
  const Column& c = column_;
  showText(fields_[bulk::kNode], std::to_string(node));
  showText(fields_[bulk::kNodeT], celsius(c.InitT(node)));
  nodeCaption_->setText(QString("Node %1 of %2").arg(node).arg(c.NumNodes));
  showComposition(
      comp_, [&](int j) { return c.InitBulkOx(node, j); },
      [&](int t) { return c.InitBulkTrace(node, t); });
  for (int j = 1; j <= kOxides; ++j) showText(comp_.oxides[j], text(comp_.oxides[j]));
  for (int t = 1; t <= kTraces; ++t) showText(comp_.traces[t], text(comp_.traces[t]));
}

void BulkDialog::setNodeCount(int n) {
  Column& c = column_;
  const int old = c.NumNodes;
  // New nodes above the old top take its composition (the setup tables hold 300 nodes).
  for (int i = old + 1; i <= n; ++i) copyNode(old, i);
  c.NumNodes = n;
  c.DeltaX = c.Length / n;
  c.DimensionArrays(settings_);
  for (int i = 1; i <= n; ++i)
    for (int j = 1; j <= kOxides; ++j) c.BulkOx(i, j) = c.InitBulkOx(i, j);
  c.InitialNeeded = true;
  refresh();
}

void BulkDialog::copyNode(int from, int to) {
  Column& c = column_;
  for (int j = 1; j <= kOxides; ++j) {
    c.InitBulkOx(to, j) = c.InitBulkOx(from, j);
    if (to <= c.NumNodes) c.BulkOx(to, j) = c.InitBulkOx(from, j);
  }
  for (int t = 1; t <= kTraces; ++t) c.InitBulkTrace(to, t) = c.InitBulkTrace(from, t);
  c.InitialNeeded = true;
}

void BulkDialog::cmdUniformT() {
  // Node 1 at T (bottom), node NumNodes at T (top), linear between.
  Column& c = column_;
  const double top = val(text(fields_[bulk::kTTop])) + kKelvinOffset;
  const double bottom = val(text(fields_[bulk::kTBottom])) + kKelvinOffset;
  const int n = c.NumNodes;
  for (int i = 1; i <= n; ++i) {
    const double f = n > 1 ? static_cast<double>(i - 1) / (n - 1) : 0.0;
    c.InitT(i) = c.Temp(i) = bottom + f * (top - bottom);
  }
  c.InitialNeeded = true;
  showNode(node_);
  emit setupChanged();
}

void BulkDialog::cmdUniformBulk() {
  // Every node takes the composition of the node shown.
  for (int i = 1; i <= column_.NumNodes; ++i)
    if (i != node_) copyNode(node_, i);
  emit setupChanged();
}

void BulkDialog::cmdSameAsNext() {
  if (node_ >= column_.NumNodes) return;
  copyNode(node_ + 1, node_);
  showNode(node_);
  emit setupChanged();
}

void BulkDialog::cmdSameAsPrevious() {
  if (node_ <= 1) return;
  copyNode(node_ - 1, node_);
  showNode(node_);
  emit setupChanged();
}

void BulkDialog::cmdNextNode() {
  if (node_ < column_.NumNodes) showNode(node_ + 1);
}

void BulkDialog::cmdPrevious() {
  if (node_ > 1) showNode(node_ - 1);
}

void BulkDialog::NormalizeBulk() {
  Column& c = column_;
  const int i = node_;
  if (!normalizeTo100([&](int j) -> double& { return c.InitBulkOx(i, j); })) return;
  for (int j = 1; j <= kOxides; ++j) c.BulkOx(i, j) = c.InitBulkOx(i, j);
  c.InitialNeeded = true;
  showNode(i);
  emit setupChanged();
}

void BulkDialog::Liquidus() {
  Column& c = column_;
  Array1<double> ox(1, kOxides);
  for (int j = 1; j <= kOxides; ++j) ox(j) = c.InitBulkOx(node_, j);
  double T = c.InitT(node_);
  // The node's own pressure once the column has one, else the top pressure.
  const double P = c.Press(node_) > 0.0 ? c.Press(node_) : c.TopPressure;
  LiquidusResult r;
  if (!runSearch(services_,
                 [&](EquilibriumModel& m, Port& p) { r = Find_Liquidus(m, p, ox, T, P); }))
    return;
  if (!r.found || !r.withinOneJoule) return;
  c.InitT(node_) = c.Temp(node_) = T;
  c.InitialNeeded = true;
  showNode(node_);
  port_.setStatus("Liquidus of node " + std::to_string(node_) + ": " +
                  formatNumber(T - kKelvinOffset, "Fixed") + " C (" +
                  std::string(PhaseNames[r.phase]) + ")");
  emit setupChanged();
}

void BulkDialog::accept() {
  if (auto* f = qobject_cast<QLineEdit*>(focusWidget())) emit f->editingFinished();
  hide();
  // Each node's bulk sums to 100 wt %, as the setup file gives it back.
  for (int i = 1; i <= column_.NumNodes; ++i)
    if (scaleOxidesTo100(column_.InitBulkOx, i)) {
      for (int j = 1; j <= kOxides; ++j) column_.BulkOx(i, j) = column_.InitBulkOx(i, j);
      column_.InitialNeeded = true;
    }
  column_.DimensionFarfield(settings_);
  port_.plotResults();
  emit setupChanged();
  QDialog::accept();
}

// --- InfiltrantForm --------------------------------------------------------------------------

InfiltrantDialog::InfiltrantDialog(Column& column, Settings& settings, Port& port,
                                   SetupServices services, QWidget* parent)
    : SetupDialog(column, settings, port, "InfiltrantForm", "Infiltrant", parent),
      services_(std::move(services)) {
  useListed_ = new QRadioButton("Use listed composition", this);
  useListed_->setObjectName("optionUseListed");
  useFirstLiq_ = new QRadioButton("Use equiibrium liquid of bottom node", this);
  useFirstLiq_->setObjectName("optionUseFirstLiq");
  connect(useListed_, &QRadioButton::toggled, this, [this](bool on) {
    settings_.optionUseListed = on;
    settings_.optionUseFirstLiq = !on;
    emit setupChanged();
  });
  flux_ = makeField(
      "txtbxFluxRate",
      [](std::string_view t, std::string_view before) {
        FieldCheck c = Settings::checkCompositionField(t, before);
        if (c.accepted)
          c.text = formatNumber(
              val(c.text), val(c.text) < 0.001 && val(c.text) != 0.0 ? "scientific" : "##0.000000");
        return c;
      },
      [this](const std::string& t) {
        column_.FluxRate = val(t);
        if (settings_.optionInfiltrate)
          port_.setLabel("lblFluxRate", formatNumber(column_.FluxRate, "scientific"));
        port_.setLabel("lblVwater", vwaterParameterLabel(column_, settings_));
      });
  temperature_ = makeField(
      "txtbxTInfiltrant",
      [](std::string_view t, std::string_view before) {
        return Settings::checkCompositionField(t, before);
      },
      [this](const std::string& t) { column_.InfiltrantT = val(t); });
  QWidget* block = compositionBlock(this, comp_, [this](bool oxide, int i) {
    return makeField(
        QString(oxide ? "txtbxOxideInfiltrant(%1)" : "txtbxTraceLiquid(%1)").arg(i),
        [](std::string_view t, std::string_view before) {
          return Settings::checkCompositionField(t, before);
        },
        [this, oxide, i](const std::string& t) {
          (oxide ? column_.InfiltrantOx : column_.InfiltrantTrace)(i) = val(t);
        });
  });
  chainFocus(comp_);
  properties_ = new QLabel(this);
  properties_->setObjectName("lblProperties");
  mode_ = new QLabel(this);
  mode_->setObjectName("lblMode");
  mode_->setWordWrap(true);

  auto* form = new QFormLayout;
  form->addRow(mode_);
  form->addRow(useListed_);
  form->addRow(useFirstLiq_);
  form->addRow("Flux rate (cm/s)", flux_);
  form->addRow("Infiltrant T (C)", temperature_);
  form->addRow(properties_);
  auto* commands = new QHBoxLayout;
  static constexpr Command<InfiltrantDialog> kCommands[] = {
      {"cdFindLiquid", "Find &1st node liquid...", &InfiltrantDialog::cdFindLiquid},
      {"cmdFindProperties", "Find Infiltrant &Properties", &InfiltrantDialog::cmdFindProperties},
      {"cmdFindLiquidusT", "Find &Liquidus T", &InfiltrantDialog::cmdFindLiquidusT},
      {"NormalizeInfiltrant", "Normalize oxide wts. to 100.00",
       &InfiltrantDialog::NormalizeInfiltrant},
  };
  commands->addLayout(commandButtons(this, kCommands, static_cast<int>(std::size(kCommands))));
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  layout->addWidget(block);
  layout->addLayout(commands);
  layout->addWidget(makeSearchBar());
  layout->addWidget(okButtons(this, false));
  refresh();
}

void InfiltrantDialog::refresh() {
  const Column& c = column_;
  showText(flux_, formatNumber(c.FluxRate, c.FluxRate < 0.001 && c.FluxRate != 0.0 ? "scientific"
                                                                                   : "##0.000000"));
  // The flux rate as stored, so that a save writes what was read.
  flux_->setProperty("shown", flux_->text());
  showText(temperature_, formatExact(c.InfiltrantT, "Fixed"));
  showComposition(
      comp_, [&](int j) { return c.InfiltrantOx(j); }, [&](int t) { return c.InfiltrantTrace(t); });
  for (int j = 1; j <= kOxides; ++j) showText(comp_.oxides[j], text(comp_.oxides[j]));
  for (int t = 1; t <= kTraces; ++t) showText(comp_.traces[t], text(comp_.traces[t]));
  const bool listed = settings_.optionUseListed;
  useListed_->setChecked(listed);
  useFirstLiq_->setChecked(!listed);
  showProperties();
  // The infiltrant enters the column only in an infiltration run: say so when this one compacts.
  mode_->setText(settings_.optionInfiltrate
                     ? QString()
                     : QString("This setup compacts: the infiltrant enters the column only in "
                               "a run that infiltrates."));
  mode_->setVisible(!settings_.optionInfiltrate);
}

void InfiltrantDialog::showProperties() {
  properties_->setText(QString("Entropy: %1 J/K/g    Density: %2 g/cm3")
                           .arg(q(formatNumber(column_.InfiltrantS, "0.00000")))
                           .arg(q(formatNumber(column_.InfiltrantRho / 10.0, "0.0000"))));
}

QString InfiltrantDialog::propertiesText() const {
  return properties_->text();
}

void InfiltrantDialog::cdFindLiquid() {
  Column& c = column_;
  if (c.MassLiq.empty() || !(c.MassLiq(1) > 0.0)) {
    message("Bottom node has no liquid: find the initial state first.");
    return;
  }
  for (int j = 1; j <= kOxides; ++j) c.InfiltrantOx(j) = c.LiqOx(1, j);
  for (int t = 1; t <= kTraces; ++t) c.InfiltrantTrace(t) = c.TraceLiq(1, t);
  c.InfiltrantT = c.Temp(1) - kKelvinOffset;
  refresh();
  cmdFindProperties();
}

void InfiltrantDialog::cmdFindProperties() {
  Column& c = column_;
  const Array1<double> ox = c.InfiltrantOx;
  const double T = c.InfiltrantT + kKelvinOffset, P = c.TopPressure;
  LiquidProperties p;
  if (!runSearch(services_, [&](EquilibriumModel& m, Port&) { p = liquidProperties(m, ox, T, P); }))
    return;
  if (!p.ok) {
    message("Problem making system components - check the infiltrant's oxides.");
    return;
  }
  c.InfiltrantS = p.S;
  c.InfiltrantRho = p.Rho;
  showProperties();
  emit setupChanged();
}

void InfiltrantDialog::cmdFindLiquidusT() {
  Column& c = column_;
  double T = std::max(c.InfiltrantT, 1000.0) + kKelvinOffset;
  const Array1<double> ox = c.InfiltrantOx;
  const double P = c.TopPressure;
  LiquidusResult r;
  if (!runSearch(services_,
                 [&](EquilibriumModel& m, Port& p) { r = Find_Liquidus(m, p, ox, T, P); }))
    return;
  if (!r.found || !r.withinOneJoule) return;
  c.InfiltrantT = T - kKelvinOffset;
  refresh();
  emit setupChanged();
}

void InfiltrantDialog::NormalizeInfiltrant() {
  if (!normalizeTo100([this](int j) -> double& { return column_.InfiltrantOx(j); })) return;
  refresh();
  emit setupChanged();
}

void InfiltrantDialog::accept() {
  if (auto* f = qobject_cast<QLineEdit*>(focusWidget())) emit f->editingFinished();
  scaleOxidesTo100(column_.InfiltrantOx);
  emit setupChanged();
  QDialog::accept();
}

// --- InflationForm ---------------------------------------------------------------------------

namespace {
constexpr std::array<const char*, inflation::kCount> kInflationCaptions = {
    "Magma T (C)", "Inflation rate (m/yr)", "Start at iteration", "Final column height (m)"};
// The inflation scalars behind tbInput(0..2); 2 and 3 are the magma's entropy and density.
constexpr std::array<int, 3> kInflationScalar = {1, 4, 5};
}  // namespace

InflationDialog::InflationDialog(Column& column, Settings& settings, Port& port,
                                 SetupServices services, QWidget* parent)
    : SetupDialog(column, settings, port, "InflationForm", "Inflation", parent),
      services_(std::move(services)) {
  inflate_ = new QCheckBox("Inflation active ", this);
  inflate_->setObjectName("chkInflate");
  connect(inflate_, &QCheckBox::toggled, this, [this](bool on) {
    settings_.chkInflate = on ? 1 : 0;
    port_.setLabel("lblInflation", on ? "Active" : "Inactive");
    emit setupChanged();
  });
  fillCenter_ = new QRadioButton("Fill at the center", this);
  fillCenter_->setObjectName("optFillCenter");
  fillTop_ = new QRadioButton("Fill at the top", this);
  fillTop_->setObjectName("optFillTop");
  connect(fillCenter_, &QRadioButton::toggled, this, [this](bool on) {
    settings_.optFillCenter = on;
    settings_.optFillTop = !on;
    emit setupChanged();
  });
  auto* form = new QFormLayout;
  auto* note = new QLabel(
      "Inflation is saved with the setup, but runs do not inflate the column yet: a setup "
      "with inflation active does not start.",
      this);
  note->setWordWrap(true);
  form->addRow(note);
  form->addRow(inflate_);
  for (int k = 0; k < inflation::kCount; ++k) {
    fields_[static_cast<std::size_t>(k)] = makeField(
        QString("tbInput(%1)").arg(k),
        [this, k](std::string_view t, std::string_view before) {
          return Settings::checkInflationField(k, t, before, column_.Length / 100.0);
        },
        [this, k](const std::string& t) {
          if (k == inflation::kFinalHeight)
            settings_.inflationTargetText = t;
          else
            column_.InflationScalars(kInflationScalar[static_cast<std::size_t>(k)]) = val(t);
        });
    form->addRow(kInflationCaptions[static_cast<std::size_t>(k)],
                 fields_[static_cast<std::size_t>(k)]);
  }
  form->addRow(fillCenter_);
  form->addRow(fillTop_);
  properties_ = new QLabel(this);
  properties_->setObjectName("lblProperties");
  form->addRow(properties_);
  QWidget* block = compositionBlock(this, comp_, [this](bool oxide, int i) {
    return makeField(
        QString(oxide ? "tbOxide(%1)" : "tbTrace(%1)").arg(i),
        [](std::string_view t, std::string_view before) {
          return Settings::checkCompositionField(t, before);
        },
        [this, oxide, i](const std::string& t) {
          (oxide ? column_.InflationOx : column_.InflationTrace)(i) = val(t);
        });
  });
  chainFocus(comp_);
  auto* commands = new QHBoxLayout;
  auto* get = button(this, "cmdGetBulkNode", "Load initial bulk node:");
  bulkNode_ = new QLineEdit("1", this);
  bulkNode_->setObjectName("txtbxBulkNode");
  bulkNode_->setMaximumWidth(50);
  connect(get, &QPushButton::clicked, this, &InflationDialog::cmdGetBulkNode);
  commands->addWidget(get);
  commands->addWidget(bulkNode_);
  static constexpr Command<InflationDialog> kCommands[] = {
      {"cmdFindProperties", "Find Magma &Properties", &InflationDialog::cmdFindProperties},
      {"cmdFindLiquidusT", "Find &Liquidus T", &InflationDialog::cmdFindLiquidusT},
      {"Normalize", "Normalize oxide wts. to 100.00", &InflationDialog::Normalize},
  };
  commands->addLayout(commandButtons(this, kCommands, static_cast<int>(std::size(kCommands))));
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  layout->addWidget(block);
  layout->addLayout(commands);
  layout->addWidget(makeSearchBar());
  layout->addWidget(okButtons(this, false));
  refresh();
}

void InflationDialog::refresh() {
  const Column& c = column_;
  for (int k = 0; k < inflation::kFinalHeight; ++k)
    showText(fields_[static_cast<std::size_t>(k)],
             formatExact(c.InflationScalars(kInflationScalar[static_cast<std::size_t>(k)]),
                         k == inflation::kStart ? "0" : "Fixed"));
  showText(fields_[inflation::kFinalHeight], settings_.inflationTargetText);
  showComposition(
      comp_, [&](int j) { return c.InflationOx(j); }, [&](int t) { return c.InflationTrace(t); });
  for (int j = 1; j <= kOxides; ++j) showText(comp_.oxides[j], text(comp_.oxides[j]));
  for (int t = 1; t <= kTraces; ++t) showText(comp_.traces[t], text(comp_.traces[t]));
  const int inflate = settings_.chkInflate;
  const bool center = settings_.optFillCenter;
  inflate_->setChecked(inflate == 1);
  fillCenter_->setChecked(center);
  fillTop_->setChecked(!center);
  properties_->setText(QString("Entropy: %1 J/K/g    Density: %2 g/cm3")
                           .arg(q(formatNumber(c.InflationScalars(2), "0.00000")))
                           .arg(q(formatNumber(c.InflationScalars(3) / 10.0, "0.0000"))));
}

void InflationDialog::cmdGetBulkNode() {
  Column& c = column_;
  bool ok = false;
  const int i = bulkNode_->text().toInt(&ok);
  if (!ok || i < 1 || i > c.NumNodes) {
    port_.beep();
    message(kIllegalValue);
    bulkNode_->setText("1");
    return;
  }
  for (int j = 1; j <= kOxides; ++j) c.InflationOx(j) = c.InitBulkOx(i, j);
  for (int t = 1; t <= kTraces; ++t) c.InflationTrace(t) = c.InitBulkTrace(i, t);
  c.InflationScalars(1) = c.InitT(i) - kKelvinOffset;
  refresh();
  emit setupChanged();
}

void InflationDialog::cmdFindProperties() {
  Column& c = column_;
  const Array1<double> ox = c.InflationOx;
  const double T = c.InflationScalars(1) + kKelvinOffset, P = c.TopPressure;
  LiquidProperties p;
  if (!runSearch(services_, [&](EquilibriumModel& m, Port&) { p = liquidProperties(m, ox, T, P); }))
    return;
  if (!p.ok) {
    message("Problem making system components - check the magma's oxides.");
    return;
  }
  c.InflationScalars(2) = p.S;
  c.InflationScalars(3) = p.Rho;
  refresh();
  emit setupChanged();
}

void InflationDialog::cmdFindLiquidusT() {
  Column& c = column_;
  double T = std::max(c.InflationScalars(1), 1000.0) + kKelvinOffset;
  const Array1<double> ox = c.InflationOx;
  const double P = c.TopPressure;
  LiquidusResult r;
  if (!runSearch(services_,
                 [&](EquilibriumModel& m, Port& p) { r = Find_Liquidus(m, p, ox, T, P); }))
    return;
  if (!r.found || !r.withinOneJoule) return;
  c.InflationScalars(1) = T - kKelvinOffset;
  refresh();
  emit setupChanged();
}

void InflationDialog::Normalize() {
  if (!normalizeTo100([this](int j) -> double& { return column_.InflationOx(j); })) return;
  refresh();
  emit setupChanged();
}

// --- SetupDiffusionForm ----------------------------------------------------------------------

namespace {
constexpr int kTraceIndex = 31;
constexpr int kGasIndex = 32;
}  // namespace

DiffusionDialog::DiffusionDialog(Column& column, Settings& settings, Port& port, QWidget* parent)
    : SetupDialog(column, settings, port, "SetupDiffusionForm", "Liquid Mass Diffusion", parent) {
  auto* grid = new QGridLayout;
  grid->addWidget(new QLabel("D (cm2/s)", this), 0, 1);
  grid->addWidget(new QLabel("Soret coef.", this), 0, 2);
  auto diffusionField = [this](int index, Apply apply) {
    return makeField(
        QString("txtbxOxide(%1)").arg(index),
        [](std::string_view t, std::string_view before) {
          return Settings::checkDiffusionField(t, before);
        },
        std::move(apply));
  };
  for (int j = 1; j <= kOxides; ++j) {
    rowNames_[j] = new QLabel(q(OxideNames[j]), this);
    rowNames_[j]->setObjectName(QString("lblOxide(%1)").arg(j));
    grid->addWidget(rowNames_[j], j, 0);
    fields_[j - 1] = diffusionField(j - 1, [this, j](const std::string& t) {
      column_.MassDiffCoef(j, j) = val(t);
      UpdateDiffusion();
    });
    fields_[kOxides + j - 1] = diffusionField(
        kOxides + j - 1, [this, j](const std::string& t) { column_.SoretCoef(j) = val(t); });
    grid->addWidget(fields_[j - 1], j, 1);
    grid->addWidget(fields_[kOxides + j - 1], j, 2);
  }
  fields_[kTraceIndex] = diffusionField(
      kTraceIndex, [this](const std::string& t) { settings_.traceDiffusionText = t; });
  fields_[kTraceIndex]->setToolTip(q(diffusion::kTraceDiffusionTip));
  fields_[kGasIndex] =
      diffusionField(kGasIndex, [this](const std::string& t) { settings_.gasDiffusionText = t; });
  grid->addWidget(new QLabel("D(trace-liq)", this), kOxides + 1, 0);
  grid->addWidget(fields_[kTraceIndex], kOxides + 1, 1);
  grid->addWidget(new QLabel("D(gas)", this), kOxides + 2, 0);
  grid->addWidget(fields_[kGasIndex], kOxides + 2, 1);
  soret_ = new QCheckBox(q(diffusion::kSoretCaption), this);
  soret_->setObjectName("chkUseSoret");
  connect(soret_, &QCheckBox::toggled, this, [this](bool on) {
    settings_.chkUseSoret = on ? 1 : 0;
    emit setupChanged();
  });
  QString help;
  for (std::string_view line : diffusion::kFormTexts) help += q(line) + "\n";
  auto* note = new QLabel(help.trimmed(), this);
  note->setObjectName("lblHelp");
  note->setWordWrap(true);
  note->setMinimumWidth(460);

  skipped_ = new QLabel(this);
  skipped_->setObjectName("lblSkipped");
  skipped_->setWordWrap(true);
  skipped_->setStyleSheet("color: rgb(0,0,160)");
  auto* right = new QVBoxLayout;
  right->addWidget(note);
  right->addWidget(soret_);
  right->addWidget(skipped_);
  right->addStretch(1);
  auto* row = new QHBoxLayout;
  row->addLayout(grid);
  row->addLayout(right);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(row);
  layout->addWidget(okButtons(this, true));
  refresh();
}

void DiffusionDialog::refresh() {
  const Column& c = column_;
  savedCoef_ = c.MassDiffCoef;
  savedSoret_ = c.SoretCoef;
  savedOrder_ = c.DiffusionOrder;
  savedUseSoret_ = settings_.chkUseSoret;
  savedTrace_ = settings_.traceDiffusionText;
  savedGas_ = settings_.gasDiffusionText;
  for (int j = 1; j <= kOxides; ++j) {
    showText(fields_[j - 1], formatExact(c.MassDiffCoef(j, j), "scientific"));
    showText(fields_[kOxides + j - 1], formatExact(c.SoretCoef(j), "scientific"));
  }
  showText(fields_[kTraceIndex], settings_.traceDiffusionText);
  showText(fields_[kGasIndex], settings_.gasDiffusionText);
  soret_->setChecked(savedUseSoret_ == 1);
  // The coefficients matter only to a run that diffuses: say so when this setup skips it.
  skipped_->setText(settings_.run.chkSkipMassDiffusion == 1
                        ? QString("This setup skips liquid mass diffusion: the coefficients are "
                                  "kept, and used once a setup diffuses.")
                        : QString());
  massBalanceOx_ = diffusion::MassBalanceOx(c.MassDiffCoef);
  for (int j = 1; j <= kOxides; ++j)
    rowNames_[j]->setStyleSheet(j == massBalanceOx_ ? "color: rgb(255,0,0)" : "");
}

void DiffusionDialog::UpdateDiffusion() {
  Column& c = column_;
  massBalanceOx_ = diffusion::UpdateDiffusion(c.MassDiffCoef);
  showText(fields_[massBalanceOx_ - 1], formatExact(0.0, "scientific"));
  for (int j = 1; j <= kOxides; ++j)
    rowNames_[j]->setStyleSheet(j == massBalanceOx_ ? "color: rgb(255,0,0)" : "");
}

void DiffusionDialog::accept() {
  if (auto* f = qobject_cast<QLineEdit*>(focusWidget())) emit f->editingFinished();
  UpdateDiffusion();
  // The order of the diffusion matrix, as the setup file gives it back.
  column_.UpdateDiffusionOrder();
  emit setupChanged();
  QDialog::accept();
}

void DiffusionDialog::reject() {
  Column& c = column_;
  c.MassDiffCoef = savedCoef_;
  c.SoretCoef = savedSoret_;
  c.DiffusionOrder = savedOrder_;
  settings_.chkUseSoret = savedUseSoret_;
  settings_.traceDiffusionText = savedTrace_;
  settings_.gasDiffusionText = savedGas_;
  emit setupChanged();
  QDialog::reject();
}

// --- PartitionCoefsForm ----------------------------------------------------------------------

PartitionDialog::PartitionDialog(Column& column, Settings& settings, Port& port, QWidget* parent)
    : SetupDialog(column, settings, port, "PartitionCoefsForm", "Partition Coefficients", parent) {
  phases_ = new QComboBox(this);
  phases_->setObjectName("ComboboxPhases");
  for (int p = 1; p <= kPhases; ++p) phases_->addItem(q(PhaseNames[p]));
  connect(phases_, &QComboBox::currentIndexChanged, this, [this](int i) { showPhase(i + 1); });
  auto* grid = new QGridLayout;
  constexpr int kRows = 10;
  for (int t = 1; t <= kTraces; ++t) {
    fields_[t] = makeField(
        QString("tbInput(%1)").arg(t - 1),
        [](std::string_view s, std::string_view before) {
          return Settings::checkPartitionField(s, before);
        },
        [this, t](const std::string& s) { column_.DCoef(phase_, t) = val(s); });
    fields_[t]->setMinimumWidth(80);
    fields_[t]->setMaximumWidth(90);
    const int row = (t - 1) % kRows, col = 2 * ((t - 1) / kRows);
    grid->addWidget(new QLabel(q(TraceNames[t]), this), row, col, Qt::AlignRight);
    grid->addWidget(fields_[t], row, col + 1);
  }
  disableBigD_ = new QCheckBox("Disable &BigD", this);
  disableBigD_->setObjectName("chkDisableBigD");
  disableBigD_->setToolTip("Checked: the constants above are used as they stand");
  connect(disableBigD_, &QCheckBox::toggled, this, [this](bool on) {
    column_.BigDFlags(0) = on;
    emit setupChanged();
  });
  auto* preset = button(this, "cmdDefault", "Use &Corlett values...");
  connect(preset, &QPushButton::clicked, this, &PartitionDialog::cmdDefault);
  auto* top = new QHBoxLayout;
  top->addWidget(new QLabel("Phase:", this));
  top->addWidget(phases_);
  top->addStretch(1);
  top->addWidget(disableBigD_);
  auto* foot = new QHBoxLayout;
  foot->addWidget(preset);
  foot->addStretch(1);
  foot->addWidget(okButtons(this, false));
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(top);
  layout->addWidget(new QLabel("Concentration in the phase over that in the liquid:", this));
  layout->addLayout(grid);
  layout->addLayout(foot);
  refresh();
}

void PartitionDialog::refresh() {
  const bool disabled = column_.BigDFlags(0);
  disableBigD_->setChecked(disabled);
  showPhase(phase_);
}

void PartitionDialog::showPhase(int phase) {
  phase_ = phase;
  if (phases_->currentIndex() != phase - 1) phases_->setCurrentIndex(phase - 1);
  for (int t = 1; t <= kTraces; ++t)
    showText(fields_[t], formatExact(column_.DCoef(phase, t), kPartitionFormat));
}

void PartitionDialog::cmdDefault() {
  if (!applyPartitionPreset(column_, port_)) return;
  refresh();
  emit setupChanged();
}

}  // namespace cx::desktop
