#include "ui/desktop/main_window.h"

#include <QApplication>
#include <QButtonGroup>
#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QDockWidget>
#include <QElapsedTimer>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QIntValidator>
#include <QMenuBar>
#include <QMessageBox>
#include <QPainter>
#include <QPrintDialog>
#include <QPrinter>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollArea>
#include <QSettings>
#include <QSplitter>
#include <QStatusBar>
#include <QToolBar>
#include <QVBoxLayout>
#include <cmath>
#include <iterator>
#include <tuple>

#include "base/text_format.h"
#include "persist/default_setup.h"
#include "persist/files.h"
#include "persist/output_file.h"
#include "persist/setup_file.h"
#include "run/node_equilibrium.h"
#include "run/run_driver.h"
#include "transport/compaction.h"
#include "ui/desktop/graph_painting.h"
#include "ui/desktop/graph_panel.h"
#include "ui/desktop/node_viewer.h"
#include "ui/desktop/phase_dialogs.h"
#include "ui/desktop/progress_panel.h"
#include "ui/desktop/setup_dialogs.h"

namespace cx::desktop {

namespace {

namespace fs = std::filesystem;

QString q(std::string_view s) {
  return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size()));
}

constexpr int kRecentFiles = 6;
constexpr const char* kSetupFilter = "CUmulex setup files (*.cxd);;All Files (*.*)";

// The display fields: control name and caption.  lblTimeStep and lblTotalTime take their caption
// from a label of their own (lblTStepLabel, lblTTimeLable), which a run changes between days and
// years.
struct DisplayField {
  const char* name;
  const char* caption;
  const char* captionName;
};
constexpr DisplayField kDisplayFields[] = {
    {"lblIteration", "Iter./Next save:", nullptr},
    {"lblTimeStep", "Time step (days):", "lblTStepLabel"},
    {"lblTotalTime", "Total time (days):", "lblTTimeLable"},
    {"lblTopNode", "Top node:", nullptr},
    {"lblPileTop", "Pile top (m):", nullptr},
    {"lblFluxRate", "Flux rate (cm/s):", nullptr},
    {"lblLength", "Length (m):", nullptr},
    {"lblSteps", "Nodes:", nullptr},
    {"lblVwater", "V(water) (cm/day):", nullptr},
    {"lblTopCoolRate", "Top cooling (°C/day):", nullptr},
    {"lblBottomCoolRate", "Bottom cooling (°C/day):", nullptr},
    {"lblLastAddition", "Last addition (cm):", nullptr},
    {"lblMixing", "Mixing:", nullptr},
    {"lblSettling", "Crystals:", nullptr},
    {"lblInflation", "Inflation:", nullptr},
    {"lblTick", "Activity:", nullptr},
};

// The switches that steer a run: control name, caption and the settings field (1 = checked).
struct RunSwitch {
  const char* name;
  const char* caption;
  int RunOptions::*field;
  const char* tip;
};
constexpr RunSwitch kRunSwitches[] = {
    {"chkSkipEquilibration", "Skip Equilibration", &RunOptions::chkSkipEquilibration,
     "The nodes are not re-equilibrated"},
    {"chkSkipTDiffusion", "Skip T Diffusion", &RunOptions::chkSkipTDiffusion,
     "Heat does not diffuse between the nodes"},
    {"chkSkipMassDiffusion", "Skip Liquid Mass Diffusion", &RunOptions::chkSkipMassDiffusion,
     "The liquid's components do not diffuse"},
    {"chkSkipAdvection", "Skip All Mass Advection", &RunOptions::chkSkipAdvection,
     "No liquid, solid or gas moves"},
    {"chkSkipCompaction", "Skip Solid Mass Advection", &RunOptions::chkSkipCompaction,
     "The solid stays in place"},
    {"chkSkipGas", "Skip Gas Mass Advection", &RunOptions::chkSkipGas, "No gas moves"},
    {"chkSkipFarfield", "Skip Thermal Farfield", &RunOptions::chkSkipFarfield,
     "The end nodes are cooled directly; the far-field slabs are ignored"},
    {"chkTTop", "Float T (top)", &RunOptions::chkTTop,
     "The top node's temperature follows from its entropy; its cooling rate is not applied"},
    {"chkTBottom", "Float T (bottom)", &RunOptions::chkTBottom,
     "The bottom node's temperature follows from its entropy; its cooling rate is not applied"},
    {"chkConstantT", "Fixed T, not S", &RunOptions::chkConstantT,
     "Every node is equilibrated at fixed temperature instead of fixed entropy (not saved with "
     "the setup)"},
    {"chkSkipVolumeCorrection", "Skip dV Correction", &RunOptions::chkSkipVolumeCorrection,
     "Changes of bulk volume on crystallization are ignored"},
    {"chkSkipInterpolate", "Skip Interpolate if Error", &RunOptions::chkSkipInterpolate,
     "A node that fails to equilibrate is not repaired from its neighbours"},
    {"chkSkipTrace", "Skip Trace Elements", &RunOptions::chkSkipTrace,
     "Trace elements are not distributed or moved"},
    {"chkPauseOnError", "Show All Errors", &RunOptions::chkPauseOnError,
     "Each failure stops the run and is shown"},
};

// A time in days, or in years above one year, with its caption.
std::pair<QString, QString> timeTexts(double seconds, const char* days, const char* years) {
  if (seconds > kSecondsPerYear)
    return {q(formatNumber(seconds / kSecondsPerYear, "0.0000")), years};
  return {q(formatNumber(seconds / kSecondsPerDay, "0.0000")), days};
}

// The display fields that show the column as it stands (after a load, a film frame, a start).
std::vector<std::pair<QString, QString>> columnLabelTexts(const Column& c) {
  std::vector<std::pair<QString, QString>> out;
  out.emplace_back("lblIteration", QString::number(c.Iteration));
  const auto [total, totalCaption] =
      timeTexts(c.TotalTime, "Total time (days):", "Total time (yrs):");
  out.emplace_back("lblTotalTime", total);
  out.emplace_back("lblTTimeLable", totalCaption);
  const auto [step, stepCaption] = timeTexts(c.DeltaT, "Time step (days):", "Time step (yrs):");
  out.emplace_back("lblTimeStep", step);
  out.emplace_back("lblTStepLabel", stepCaption);
  out.emplace_back("lblPileTop", q(formatNumber(c.PileTop / 100.0, "fixed")));
  out.emplace_back("lblTopNode", QString::number(c.TopNode));
  out.emplace_back("lblLength", q(formatNumber(c.LengthR8 / 100.0, "fixed")));
  out.emplace_back("lblSteps", QString::number(c.NumNodes));
  out.emplace_back("lblLastAddition", q(formatNumber(c.LastAddition, "fixed")));
  return out;
}

}  // namespace

MainWindow::MainWindow(const WindowOptions& options, QWidget* parent)
    : QMainWindow(parent),
      folder_(options.folder),
      column_(std::make_unique<Column>()),
      port_(new GuiPort(this)),
      dialogs_(options.dialogs),
      remember_(options.rememberSettings) {
  setObjectName("MainForm");
  log_ = std::make_unique<EventLog>(*port_);
  ctx_ = std::make_unique<RunContext>(RunContext{*column_, settings_, *log_, *port_, folder_});
  port_->attach(column_.get(), &log_->HaltFlag);
  port_->setAsker([this](const QString& question) { return ask(question); });
  port_->setTeller([this](const QString& message) { tell(message); });
  connect(port_, &GuiPort::statusChanged, this, [this](const QString& t) { status_->setText(t); });
  connect(port_, &GuiPort::moduleIdChanged, this,
          [this](const QString& t) { moduleId_->setText(t); });
  connect(port_, &GuiPort::labelChanged, this, &MainWindow::onLabel);
  connect(port_, &GuiPort::eventAppended, this, &MainWindow::onEvent);
  connect(port_, &GuiPort::resultsReady, this, &MainWindow::onResults);
  connect(port_, &GuiPort::held, this, &MainWindow::onHeld);
  searcher_ = std::make_unique<FormSearcher>(*column_, settings_, *port_);
  // The minimizer reports many times a second; the display follows at most 25 times a second
  // and always shows the latest report.
  progressTimer_.setSingleShot(true);
  progressTimer_.setInterval(40);
  connect(&progressTimer_, &QTimer::timeout, this, &MainWindow::onProgress);
  connect(port_, &GuiPort::progressReady, this, [this] {
    if (!progressTimer_.isActive()) progressTimer_.start();
  });

  buildCommands();
  buildMenus();
  auto* split = new QSplitter(Qt::Horizontal, this);
  auto* side = new QWidget(split);
  auto* sideLayout = new QVBoxLayout(side);
  sideLayout->setContentsMargins(4, 4, 4, 4);
  sideLayout->addWidget(buildDisplayFields());
  sideLayout->addWidget(buildRunOptions());
  progress_ = new ProgressPanel(side);
  sideLayout->addWidget(progress_, 1);
  split->addWidget(side);
  split->addWidget(buildGraphs());
  split->setStretchFactor(1, 1);
  setCentralWidget(split);
  buildEventsDock();

  status_ = new QLabel(this);
  status_->setObjectName("txtbxStatus");
  moduleId_ = new QLabel("Idle", this);
  moduleId_->setObjectName("txtbxModuleID");
  pointer_ = new QLabel(this);
  pointer_->setObjectName("lblGraphPointer");
  statusBar()->addWidget(status_, 1);
  statusBar()->addPermanentWidget(pointer_);
  statusBar()->addPermanentWidget(moduleId_);

  resize(1280, 820);
  if (remember_) {
    QSettings s;
    restoreGeometry(s.value("window/geometry").toByteArray());
    restoreState(s.value("window/state").toByteArray());
  }
  setRunning(false);
  command("CmdStart")->setEnabled(true);
  startup(options.setup);
}

MainWindow::~MainWindow() {
  // A job still going is halted and waited for; questions it asks meanwhile are answered no.
  if (worker_ != nullptr) {
    port_->setAsker([](const QString&) { return false; });
    port_->setTeller([](const QString&) {});
    port_->requestHalt();
    // The events let a question the run is waiting on be answered; the job's end may be
    // handled among them (and the thread deleted there).
    while (worker_ != nullptr && !worker_->wait(20)) QCoreApplication::processEvents();
    delete worker_;
    worker_ = nullptr;
  }
}

// --- Building --------------------------------------------------------------------------------

QAction* MainWindow::makeCommand(const char* name, const QString& caption,
                                 const QKeySequence& key) {
  auto* a = new QAction(caption, this);
  a->setObjectName(name);
  if (!key.isEmpty()) a->setShortcut(key);
  commands_[name] = a;
  return a;
}

QAction* MainWindow::command(const QString& name) const {
  const auto it = commands_.find(name);
  return it == commands_.end() ? nullptr : it->second;
}

void MainWindow::buildCommands() {
  connect(makeCommand("CmdStart", "&Start", QKeySequence(Qt::Key_F5)), &QAction::triggered, this,
          &MainWindow::cmdStart);
  connect(makeCommand("cmdHalt", "&Halt", QKeySequence(Qt::Key_Escape)), &QAction::triggered, this,
          &MainWindow::cmdHalt);
  connect(makeCommand("cmdPause", "&Pause", QKeySequence(Qt::Key_F7)), &QAction::triggered, this,
          &MainWindow::cmdPause);
  connect(makeCommand("cmdResume", "&Resume", QKeySequence(Qt::Key_F8)), &QAction::triggered, this,
          &MainWindow::cmdResume);
  connect(makeCommand("cmdFindInitial", "&Find Init. Eq.", QKeySequence(Qt::Key_F6)),
          &QAction::triggered, this, &MainWindow::cmdFindInitial);
  connect(makeCommand("cmdLoadLastIteration", "&Load iteration", QKeySequence("Ctrl+L")),
          &QAction::triggered, this, &MainWindow::cmdLoadLastIteration);
  connect(makeCommand("cmdShowMovie", "Show &Movie", QKeySequence("Ctrl+M")), &QAction::triggered,
          this, &MainWindow::cmdShowMovie);
  connect(makeCommand("cmdSnapShot", "&Take snap shot...", QKeySequence("Ctrl+T")),
          &QAction::triggered, this, &MainWindow::cmdSnapShot);
  connect(makeCommand("cmdPrint", "Print...", QKeySequence::Print), &QAction::triggered, this,
          &MainWindow::cmdPrint);
  connect(makeCommand("cmdExportPdf", "Export Graphs as &PDF...", QKeySequence("Ctrl+E")),
          &QAction::triggered, this, &MainWindow::cmdExportPdf);
  connect(makeCommand("mnuOpen", "&Open Setup File...", QKeySequence::Open), &QAction::triggered,
          this, &MainWindow::mnuOpen);
  connect(makeCommand("mnuSave", "&Save Setup File", QKeySequence::Save), &QAction::triggered, this,
          &MainWindow::mnuSave);
  connect(makeCommand("mnuSaveAs", "Save Setup File &As... ", QKeySequence::SaveAs),
          &QAction::triggered, this, &MainWindow::mnuSaveAs);
  connect(makeCommand("mnuWorkingFolder", "&Working Folder...", {}), &QAction::triggered, this,
          &MainWindow::mnuWorkingFolder);
  connect(makeCommand("mnuQuit", "&Quit", QKeySequence::Quit), &QAction::triggered, this,
          &QWidget::close);
  connect(makeCommand("mnuExcludedPhases", " &Excluded Phases", {}), &QAction::triggered, this,
          [this] {
            excludeDialog().refresh();
            excludeDialog().exec();
          });
  connect(makeCommand("mnuActivtyModels", "Phase &Activity Models...", {}), &QAction::triggered,
          this, [this] {
            optionsDialog().updateDisplay();
            optionsDialog().exec();
          });
  // The setup forms: each shows the setup as it stands and edits it in place.
  for (const auto& [name, caption, form] :
       {std::tuple{"mnuSetupBulk", "Setup &Bulk...", "BulkForm"},
        std::tuple{"mnuSetupInfiltrant", "Setup &Infiltrant...", "InfiltrantForm"},
        std::tuple{"mnuSetupCompaction", "Setup &Compaction...", "CompactForm"},
        std::tuple{"mnuInflation", "Setup I&nflation...", "InflationForm"},
        std::tuple{"mnuSetupDiffusionCoefs", "Setup &Diffusion Coefs...", "SetupDiffusionForm"},
        std::tuple{"mnuPartitionCoefs", "Setup &Partition Coefficients...", "PartitionCoefsForm"},
        std::tuple{"mnuSetupMisc", "Setup &Misc...", "MiscForm"}})
    connect(makeCommand(name, caption, {}), &QAction::triggered, this, [this, f = QString(form)] {
      // A run that computes owns the column and the settings; one held between iterations
      // leaves them to the forms (but for the bulk form's initial state).
      if (busy() && !(held_ && f != "BulkForm")) return;
      SetupDialog& d = setupDialog(f);
      d.refresh();
      d.exec();
    });
  connect(makeCommand("mnuViewNode", " &View Node", {}), &QAction::triggered, this, [this] {
    nodeViewer().showColumn(shown_ ? *shown_ : *column_);
    nodeViewer().show();
    nodeViewer().raise();
  });
  connect(makeCommand("mnuMakeCurrentInitial", "&Set Current State as Initial", {}),
          &QAction::triggered, this, &MainWindow::mnuMakeCurrentInitial);
  connect(makeCommand("mnuViewErrors", " View E&vents", QKeySequence("Ctrl+Shift+V")),
          &QAction::triggered, this, &MainWindow::mnuViewErrors);
  connect(makeCommand("mnuHelp", "&Help", QKeySequence::HelpContents), &QAction::triggered, this,
          &MainWindow::mnuHelp);
  connect(makeCommand("mnuAbout", "&About Cumulex", {}), &QAction::triggered, this,
          &MainWindow::mnuAbout);
  command("cmdHalt")->setToolTip("Halt the run at its next turn");
  command("cmdPause")
      ->setToolTip("Hold the run before its next iteration, so that the setup can be edited");
  command("cmdResume")->setToolTip("Go on with the held run, with the setup as edited");
  command("cmdSnapShot")->setToolTip("Write a snapshot table at the end of the present iteration");

  auto* bar = addToolBar("Commands");
  bar->setObjectName("commandBar");
  bar->setToolButtonStyle(Qt::ToolButtonTextOnly);
  bar->addAction(command("CmdStart"));
  bar->addAction(command("cmdHalt"));
  bar->addAction(command("cmdPause"));
  bar->addAction(command("cmdResume"));
  bar->addAction(command("cmdFindInitial"));
  bar->addSeparator();
  loadIteration_ = new QLineEdit("0", bar);
  loadIteration_->setObjectName("txtbxLoadIteration");
  loadIteration_->setValidator(new QIntValidator(0, 32767, loadIteration_));
  loadIteration_->setMaximumWidth(70);
  loadIteration_->setToolTip("The saved iteration to load");
  bar->addWidget(loadIteration_);
  bar->addAction(command("cmdLoadLastIteration"));
  bar->addAction(command("cmdShowMovie"));
  bar->addSeparator();
  bar->addAction(command("cmdSnapShot"));
  bar->addAction(command("cmdPrint"));
}

void MainWindow::buildMenus() {
  fileMenu_ = menuBar()->addMenu("&File");
  fileMenu_->setObjectName("mnuFile");
  fileMenu_->addAction(command("mnuOpen"));
  recentMenu_ = fileMenu_->addMenu("Open &Recent");
  fileMenu_->addAction(command("mnuSave"));
  fileMenu_->addAction(command("mnuSaveAs"));
  fileMenu_->addSeparator();
  fileMenu_->addAction(command("mnuWorkingFolder"));
  fileMenu_->addSeparator();
  fileMenu_->addAction(command("cmdPrint"));
  fileMenu_->addAction(command("cmdExportPdf"));
  fileMenu_->addSeparator();
  fileMenu_->addAction(command("mnuQuit"));
  updateRecentMenu();

  auto* run = menuBar()->addMenu("&Run");
  run->addAction(command("CmdStart"));
  run->addAction(command("cmdHalt"));
  run->addAction(command("cmdPause"));
  run->addAction(command("cmdResume"));
  run->addAction(command("cmdFindInitial"));
  run->addSeparator();
  run->addAction(command("cmdLoadLastIteration"));
  run->addAction(command("cmdShowMovie"));
  run->addAction(command("mnuMakeCurrentInitial"));
  run->addSeparator();
  run->addAction(command("cmdSnapShot"));

  auto* setup = menuBar()->addMenu("Set&up");
  setup->setObjectName("mnuSetup");
  for (const char* name :
       {"mnuSetupBulk", "mnuSetupInfiltrant", "mnuSetupCompaction", "mnuInflation",
        "mnuSetupDiffusionCoefs", "mnuPartitionCoefs", "mnuSetupMisc"})
    setup->addAction(command(name));

  optionsMenu_ = menuBar()->addMenu("&Options");
  optionsMenu_->setObjectName("mnuOptions");
  optionsMenu_->addAction(command("mnuExcludedPhases"));
  optionsMenu_->addAction(command("mnuActivtyModels"));

  auto* view = menuBar()->addMenu("&View");
  view->addAction(command("mnuViewErrors"));
  view->addAction(command("mnuViewNode"));

  auto* help = menuBar()->addMenu("&Help");
  help->addAction(command("mnuHelp"));
  help->addAction(command("mnuAbout"));
}

QWidget* MainWindow::buildDisplayFields() {
  auto* box = new QGroupBox("Run", this);
  auto* form = new QFormLayout(box);
  form->setContentsMargins(6, 6, 6, 6);
  form->setVerticalSpacing(2);
  for (const auto& f : kDisplayFields) {
    auto* value = new QLabel(box);
    value->setObjectName(f.name);
    value->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* caption = new QLabel(f.caption, box);
    if (f.captionName != nullptr) caption->setObjectName(f.captionName);
    form->addRow(caption, value);
  }
  return box;
}

QWidget* MainWindow::buildRunOptions() {
  runOptions_ = new QWidget(this);
  auto* layout = new QVBoxLayout(runOptions_);
  layout->setContentsMargins(0, 0, 0, 0);
  auto* switches = new QGroupBox("Run options", runOptions_);
  switches->setObjectName("fOptions");
  auto* grid = new QGridLayout(switches);
  grid->setContentsMargins(6, 4, 6, 4);
  grid->setVerticalSpacing(1);
  constexpr int kRows = (std::size(kRunSwitches) + 1) / 2;
  int k = 0;
  for (const RunSwitch& sw : kRunSwitches) {
    auto* box = new QCheckBox(sw.caption, switches);
    box->setObjectName(sw.name);
    box->setToolTip(sw.tip);
    grid->addWidget(box, k % kRows, k / kRows);
    ++k;
    runSwitches_[sw.name] = box;
    // The run reads the switches at each use: a change while idle or held takes effect at once.
    connect(box, &QCheckBox::toggled, this,
            [this, field = sw.field](bool on) { settings_.run.*field = on ? 1 : 0; });
  }
  layout->addWidget(switches);

  auto* constraint = new QGroupBox("Run Constraint", runOptions_);
  constraint->setObjectName("frameRunConstraint");
  auto* row = new QHBoxLayout(constraint);
  row->setContentsMargins(6, 2, 6, 2);
  optionInfiltrate_ = new QRadioButton("Infiltrate", constraint);
  optionInfiltrate_->setObjectName("optionInfiltrate");
  optionInfiltrate_->setToolTip("Liquid enters through the bottom; the pile does not compact");
  optionCompact_ = new QRadioButton("Compact", constraint);
  optionCompact_->setObjectName("optionCompact");
  optionCompact_->setToolTip("The bottom is closed and the pile compacts");
  auto* group = new QButtonGroup(constraint);
  group->addButton(optionInfiltrate_);
  group->addButton(optionCompact_);
  row->addWidget(optionInfiltrate_);
  row->addWidget(optionCompact_);
  row->addStretch(1);
  // A click sets the mode; the flux rate and the gas velocity shown follow it.
  for (QRadioButton* b : {optionInfiltrate_, optionCompact_})
    connect(b, &QRadioButton::clicked, this, [this] {
      settings_.optionInfiltrate = optionInfiltrate_->isChecked();
      settings_.optionCompact = optionCompact_->isChecked();
      showRunModeLabels();
    });
  layout->addWidget(constraint);
  return runOptions_;
}

QCheckBox* MainWindow::runSwitch(const QString& name) const {
  const auto it = runSwitches_.find(name);
  return it == runSwitches_.end() ? nullptr : it->second;
}

QRadioButton* MainWindow::runConstraint(const QString& name) const {
  if (name == "optionInfiltrate") return optionInfiltrate_;
  if (name == "optionCompact") return optionCompact_;
  return nullptr;
}

void MainWindow::showRunOptions() {
  for (const RunSwitch& sw : kRunSwitches) {
    QCheckBox* box = runSwitches_.at(sw.name);
    const QSignalBlocker block(box);
    box->setChecked(settings_.run.*(sw.field) == 1);
  }
  // Exclusive buttons cannot both be cleared; a file that sets neither shows neither checked.
  QButtonGroup* group = optionInfiltrate_->group();
  group->setExclusive(false);
  optionInfiltrate_->setChecked(settings_.optionInfiltrate);
  optionCompact_->setChecked(settings_.optionCompact);
  group->setExclusive(true);
}

QWidget* MainWindow::buildGraphs() {
  auto* area = new QWidget(this);
  auto* layout = new QVBoxLayout(area);
  layout->setContentsMargins(2, 2, 2, 2);
  auto* choose = new QHBoxLayout;
  oxideSelect_ = new QComboBox(area);
  oxideSelect_->setObjectName("comboOxideSelect");
  for (int j = 1; j <= kOxides; ++j) oxideSelect_->addItem(q(OxideNames[j]));
  traceSelect_ = new QComboBox(area);
  traceSelect_->setObjectName("comboTraceSelect");
  for (int t = 1; t <= kTraces; ++t) traceSelect_->addItem(q(TraceNames[t]));
  choose->addWidget(new QLabel("Oxide:", area));
  choose->addWidget(oxideSelect_);
  choose->addSpacing(12);
  choose->addWidget(new QLabel("Trace element:", area));
  choose->addWidget(traceSelect_);
  choose->addStretch(1);
  layout->addLayout(choose);
  auto* grid = new QGridLayout;
  grid->setSpacing(4);
  for (int k = 1; k <= 4; ++k) {
    graphs_[k] = new GraphPanel(k, area);
    grid->addWidget(graphs_[k], (k - 1) / 2, (k - 1) % 2);
    connect(graphs_[k], &GraphPanel::pointerMoved, this, [this](int node, double x, double y) {
      pointer_->setText("Node: " + QString::number(node) +
                        "  X: " + (std::isfinite(x) ? q(formatNumber(x, "fixed")) : QString("-")) +
                        "  Y: " + q(formatNumber(y, "fixed")));
    });
  }
  layout->addLayout(grid, 1);
  auto selectionChanged = [this] {
    for (int k = 1; k <= 4; ++k)
      graphs_[k]->setOxideAndTrace(oxideSelect_->currentIndex() + 1,
                                   traceSelect_->currentIndex() + 1);
  };
  connect(oxideSelect_, &QComboBox::currentIndexChanged, this, selectionChanged);
  connect(traceSelect_, &QComboBox::currentIndexChanged, this, selectionChanged);
  return area;
}

void MainWindow::buildEventsDock() {
  auto* dock = new QDockWidget("Events", this);
  dock->setObjectName("ViewErrorsForm");
  auto* inner = new QWidget(dock);
  events_ = new QPlainTextEdit(inner);
  events_->setObjectName("rtErrors");
  events_->setReadOnly(true);
  events_->setMaximumBlockCount(0);
  auto* clear = new QPushButton("&Clear", inner);
  clear->setObjectName("cmdClear");
  auto* ok = new QPushButton("OK", inner);
  ok->setObjectName("cmdOK");
  connect(ok, &QPushButton::clicked, dock, &QWidget::hide);
  connect(clear, &QPushButton::clicked, this, [this] {
    if (busy()) return;  // the run writes the log
    if (!ask("Do you want to erase the error log file 'CXlog.txt'?")) return;
    log_->clearFile();
    events_->clear();
  });
  auto* buttons = new QHBoxLayout;
  buttons->addStretch(1);
  buttons->addWidget(clear);
  buttons->addWidget(ok);
  auto* layout = new QVBoxLayout(inner);
  layout->setContentsMargins(2, 2, 2, 2);
  layout->addWidget(events_, 1);
  layout->addLayout(buttons);
  dock->setWidget(inner);
  addDockWidget(Qt::BottomDockWidgetArea, dock);
  resizeDocks({dock}, {140}, Qt::Vertical);
}

// --- Start-up and labels ---------------------------------------------------------------------

void MainWindow::startup(const fs::path& setup) {
  status_->setText("Loading database... done.");
  std::error_code ec;
  fs::create_directories(folder_, ec);
  bool loaded = false;
  if (!setup.empty()) {
    openSetupFile(QString::fromStdString(setup.string()));
    loaded = !setupFile_.isEmpty();
  }
  if (!loaded && fs::exists(folder_ / std::string(kSetupFileName))) {
    const auto r = ReadSetup(folder_, *column_, settings_, *port_);
    if (r.ok) {
      loaded = true;
    } else {
      tell(" error initallizing...\n            Try deleting the file 'Cxsetup.cxd'.\n\n" +
           q(r.message));
    }
  }
  if (!loaded) {
    // A new working folder starts from the default basaltic column.
    const auto r =
        parseSetup(std::string(defaultSetupText()), "embedded default setup", *column_, settings_);
    if (r.ok) WriteSetup(folder_, *column_, settings_);
    onLabel("Title", " CUmulex [CXsetup.cxd]");
  }
  loadGraphChoices();
  showRunOptions();
  showSetupLabels();
  showColumnLabels(*column_);
  onLabel("lblTimeStep", "0.0000");
  refreshGraphs();
}

void MainWindow::showSetupLabels() {
  const Column& c = *column_;
  const Settings& s = settings_;
  showRunModeLabels();
  onLabel("lblTopCoolRate", q(formatNumber(c.TopCoolRate * kSecondsPerDay, "#0.00000")));
  onLabel("lblBottomCoolRate", q(formatNumber(c.BottomCoolRate * kSecondsPerDay, "#0.00000")));
  onLabel("lblMixing", s.optionMix ? "Mixed" : s.optionDisplace ? "Displace" : "");
  onLabel("lblSettling", s.OptionDrip          ? "Drip"
                         : s.optionLocal       ? "Local"
                         : s.optionBottomAccum ? "Xtl set'lg"
                                               : "");
  onLabel("lblInflation", s.chkInflate == 1 ? "Active" : "Inactive");
}

void MainWindow::showRunModeLabels() {
  onLabel("lblFluxRate", settings_.optionInfiltrate
                             ? q(formatNumber(column_->FluxRate, "scientific"))
                             : QString("Compacting"));
  onLabel("lblVwater", q(vwaterParameterLabel(*column_, settings_)));
  if (auto* l = findChild<QLabel*>("lblVwater")) l->setToolTip(q(vwaterTip(settings_)));
}

void MainWindow::showColumnLabels(const Column& c) {
  for (const auto& [name, text] : columnLabelTexts(c)) onLabel(name, text);
}

void MainWindow::onLabel(const QString& name, const QString& text) {
  if (name == "Title") {
    setWindowTitle(text);
    return;
  }
  if (name == "txtbxLoadIteration") {
    loadIteration_->setText(text);
    return;
  }
  auto it = labels_.find(name);
  if (it == labels_.end()) it = labels_.emplace(name, findChild<QLabel*>(name)).first;
  if (it->second != nullptr) it->second->setText(text);
}

QString MainWindow::labelText(const QString& name) const {
  if (name == "txtbxLoadIteration") return loadIteration_->text();
  if (auto* l = findChild<QLabel*>(name)) return l->text();
  return {};
}

QString MainWindow::statusText() const {
  return status_->text();
}
QString MainWindow::moduleText() const {
  return moduleId_->text();
}
QString MainWindow::eventsText() const {
  return events_->toPlainText();
}

void MainWindow::onEvent(const QString& text) {
  events_->appendPlainText(text);
  // The run writes a requested snapshot at the end of the iteration and says so: the command
  // may be used again.
  if (text.startsWith("Snapshot saved as file: ") && busy() && !filmRunning_)
    command("cmdSnapShot")->setEnabled(true);
}

void MainWindow::onResults() {
  auto r = port_->takeResults();
  if (!r) return;
  shown_ = std::move(r);
  if (filmRunning_) filmFrames_.append(shown_->Iteration);
  for (int k = 1; k <= 4; ++k) graphs_[k]->show(shown_);
}

void MainWindow::onProgress() {
  if (auto p = port_->takeProgress()) {
    progress_->show(*p);
    static constexpr const char* kTicks[] = {"|", "/", "-", "\\"};
    onLabel("lblTick", kTicks[tick_++ % 4]);
  }
}

void MainWindow::refreshGraphs() {
  // While a run is held, the window may read the column too.
  if (!busy() || held_) port_->plotResults();
}

void MainWindow::storeGraphChoices() {
  for (int k = 1; k <= 4; ++k)
    settings_.GraphSelect[k] = graphs_[k]->selector()->currentText().toStdString();
  settings_.comboOxideSelect = oxideSelect_->currentText().toStdString();
  settings_.comboTraceSelect = traceSelect_->currentText().toStdString();
}

void MainWindow::loadGraphChoices() {
  for (int k = 1; k <= 4; ++k) graphs_[k]->setProperty(q(settings_.GraphSelect[k]));
  auto select = [](QComboBox* box, const std::string& name) {
    const int i = box->findText(q(name));
    box->setCurrentIndex(i >= 0 ? i : 0);
  };
  select(oxideSelect_, settings_.comboOxideSelect);
  select(traceSelect_, settings_.comboTraceSelect);
  for (int k = 1; k <= 4; ++k)
    graphs_[k]->setOxideAndTrace(oxideSelect_->currentIndex() + 1,
                                 traceSelect_->currentIndex() + 1);
}

// --- Jobs ------------------------------------------------------------------------------------

void MainWindow::setRunning(bool running, bool filmOnly) {
  for (const char* name :
       {"CmdStart", "cmdFindInitial", "cmdLoadLastIteration", "cmdShowMovie", "mnuOpen", "mnuSave",
        "mnuSaveAs", "mnuWorkingFolder", "mnuExcludedPhases", "mnuActivtyModels",
        "mnuMakeCurrentInitial", "mnuSetupBulk", "mnuSetupInfiltrant", "mnuSetupCompaction",
        "mnuInflation", "mnuSetupDiffusionCoefs", "mnuPartitionCoefs", "mnuSetupMisc"})
    command(name)->setEnabled(!running);
  recentMenu_->setEnabled(!running);
  loadIteration_->setEnabled(!running);
  runOptions_->setEnabled(!running);
  command("cmdHalt")->setEnabled(running);
  command("cmdSnapShot")->setEnabled(running && !filmOnly);
  // Only a run's start offers the pause (cmdStart enables it).
  held_ = false;
  command("cmdPause")->setEnabled(false);
  command("cmdResume")->setEnabled(false);
  if (auto* clear = findChild<QPushButton*>("cmdClear")) clear->setEnabled(!running);
}

void MainWindow::runJob(const std::function<void()>& job, const std::function<void()>& after) {
  port_->clearRequests();
  setRunning(true, filmRunning_);
  worker_ = QThread::create(job);
  connect(worker_, &QThread::finished, this, [this, after] {
    worker_->wait();
    delete worker_;
    worker_ = nullptr;
    onResults();
    onProgress();
    setRunning(false);
    showRunOptions();
    after();
    port_->clearRequests();
    emit jobFinished();
    if (closeAfterJob_) close();
  });
  worker_->start();
}

void MainWindow::cmdStart() {
  if (busy()) return;
  storeGraphChoices();
  column_->FindInitialOnly = false;
  ctx_->iterationLimit = iterationLimit_;
  auto outcome = std::make_shared<RunOutcome>();
  runJob([this, outcome] { *outcome = CmdStart(*ctx_); },
         [this, outcome] {
           // After a halt the start stays disabled until another command enables it.
           command("CmdStart")->setEnabled(!outcome->halted);
           showColumnLabels(*column_);
         });
  command("cmdPause")->setEnabled(true);
}

void MainWindow::cmdPause() {
  if (!busy() || filmRunning_ || held_) return;
  port_->requestPause();
  command("cmdPause")->setEnabled(false);
  status_->setText("The run will pause before its next iteration...");
}

void MainWindow::onHeld(int iteration) {
  // A held turn signalled before a halt or the end of the job is of no use any more.
  if (!busy() || port_->haltRequested()) return;
  held_ = true;
  command("cmdResume")->setEnabled(true);
  enableSetupForms();
  moduleId_->setText("Paused");
  status_->setText(QString("Paused after iteration %1: the setup may be edited; Resume goes on "
                           "with the edits.")
                       .arg(iteration));
}

void MainWindow::cmdResume() {
  if (!held_) return;
  held_ = false;
  enableSetupForms();
  command("cmdResume")->setEnabled(false);
  command("cmdPause")->setEnabled(true);
  moduleId_->clear();
  status_->setText("Running calculation...");
  // From here on the run owns the column and the settings again.
  port_->resume();
}

void MainWindow::enableSetupForms() {
  const bool free = !busy();
  for (const char* name : {"mnuSetupInfiltrant", "mnuSetupCompaction", "mnuInflation",
                           "mnuSetupDiffusionCoefs", "mnuPartitionCoefs", "mnuSetupMisc"})
    command(name)->setEnabled(free || held_);
  command("mnuSetupBulk")->setEnabled(free);
  runOptions_->setEnabled(free || held_);
}

void MainWindow::cmdFindInitial() {
  if (busy()) return;
  storeGraphChoices();
  column_->FindInitialOnly = true;
  ctx_->iterationLimit = iterationLimit_;
  runJob([this] { CmdStart(*ctx_); },
         [this] {
           column_->FindInitialOnly = false;
           command("CmdStart")->setEnabled(true);
         });
}

void MainWindow::cmdHalt() {
  if (!busy()) return;
  if (held_) {
    held_ = false;
    enableSetupForms();
    command("cmdResume")->setEnabled(false);
  }
  port_->requestHalt();
  moduleId_->clear();
}

void MainWindow::cmdLoadLastIteration() {
  if (busy()) return;
  bool ok = false;
  const int n = loadIteration_->text().toInt(&ok);
  if (!ok || n < 0) {
    status_->setText("Enter the number of a saved iteration.");
    return;
  }
  const LoadResult r = loadIteration(folder_, n, *column_, *log_, *port_);
  if (!r.ok) {
    if (r.message != "Abort load last interation." && !r.message.empty()) tell(q(r.message));
    return;
  }
  log_->append("----------------------------");
  log_->append("Loaded iteration: " + std::to_string(n));
  restoreFluidizationRatio(*column_, settings_);
  showRunOptions();
  showColumnLabels(*column_);
  onLabel("lblVwater",
          q(vwaterLabel(vaporVelocity(*column_, settings_, VaporVelocityAt::SetupRead), 1e-8)));
  command("CmdStart")->setEnabled(true);
  refreshGraphs();
}

void MainWindow::cmdShowMovie() {
  if (busy()) return;
  filmFrames_.clear();
  filmRunning_ = true;
  const int pause = filmPause_;
  runJob(
      [this, pause] {
        replayIterations(folder_, *column_, *log_, [this, pause](int) {
          restoreFluidizationRatio(*column_, settings_);
          for (const auto& [name, text] : columnLabelTexts(*column_))
            port_->setLabel(name.toStdString(), text.toStdString());
          port_->presentFrame();
          if (pause > 0 && !port_->haltRequested()) QThread::msleep(static_cast<unsigned>(pause));
          return !port_->haltRequested();
        });
      },
      [this] {
        filmRunning_ = false;
        log_->HaltFlag = false;
        showColumnLabels(*column_);
        command("CmdStart")->setEnabled(true);
      });
}

void MainWindow::cmdSnapShot() {
  if (!busy() || filmRunning_) return;
  if (!ask("Save a snap shot of the state of\n  the system at end end of current iteration?"))
    return;
  port_->requestSnapshot();
  command("cmdSnapShot")->setEnabled(false);
  const QString iteration = labelText("lblIteration").section('/', 0, 0);
  status_->setText("Snapshot will be saved as file: " + iteration + ".tab");
}

// --- Printing --------------------------------------------------------------------------------

void MainWindow::paintGraphsTo(QPainter& painter, const QRect& page) {
  const int header = painter.fontMetrics().height() * 2;
  painter.drawText(
      QRect(page.left(), page.top(), page.width(), header), Qt::AlignLeft | Qt::AlignVCenter,
      windowTitle() + "    Iteration " + labelText("lblIteration") + "    " +
          findChild<QLabel*>("lblTTimeLable")->text() + " " + labelText("lblTotalTime"));
  const QRect area(page.left(), page.top() + header, page.width(), page.height() - header);
  const int w = area.width() / 2, h = area.height() / 2, gap = 8;
  for (int k = 1; k <= 4; ++k) {
    const QRect r(area.left() + ((k - 1) % 2) * w, area.top() + ((k - 1) / 2) * h, w - gap,
                  h - gap);
    painter.save();
    painter.setClipRect(r);
    paintGraph(painter, r, shown_.get(), graphs_[k]->choice());
    painter.restore();
  }
}

void MainWindow::cmdPrint() {
  QPrinter printer(QPrinter::HighResolution);
  printer.setPageOrientation(QPageLayout::Landscape);
  QPrintDialog dialog(&printer, this);
  if (dialog.exec() != QDialog::Accepted) return;
  QPainter painter;
  if (!painter.begin(&printer)) {
    tell(QString::number(static_cast<int>(printer.printerState())) + " - printer error!");
    return;
  }
  paintGraphsTo(painter, painter.viewport());
  painter.end();
}

bool MainWindow::exportPdf(const QString& file) {
  QPrinter printer(QPrinter::HighResolution);
  printer.setOutputFormat(QPrinter::PdfFormat);
  printer.setOutputFileName(file);
  printer.setPageOrientation(QPageLayout::Landscape);
  QPainter painter;
  if (!painter.begin(&printer)) return false;
  paintGraphsTo(painter, painter.viewport());
  return painter.end();
}

void MainWindow::cmdExportPdf() {
  QSettings s;
  const QString start = remember_ ? s.value("folders/last").toString() : QString();
  QString file =
      QFileDialog::getSaveFileName(this, "Export Graphs as PDF", start, "PDF files (*.pdf)");
  if (file.isEmpty()) return;
  if (!file.endsWith(".pdf", Qt::CaseInsensitive)) file += ".pdf";
  if (!exportPdf(file)) tell("The graphs could not be written to " + file + ".");
}

double MainWindow::timeRedraw() {
  QElapsedTimer timer;
  timer.start();
  for (int k = 1; k <= 4; ++k) {
    GraphCanvas* canvas = graphs_[k]->canvas();
    QImage image(canvas->size().expandedTo(QSize(400, 300)), QImage::Format_ARGB32_Premultiplied);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    paintGraph(painter, image.rect(), shown_.get(), graphs_[k]->choice());
  }
  return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

// --- Files -----------------------------------------------------------------------------------

void MainWindow::openSetupFile(const QString& file) {
  const auto r = openSetup(folder_, file.toStdString(), *column_, settings_, *port_);
  if (!r.ok) {
    tell(q(r.message));
    return;
  }
  setupFile_ = file;
  rememberFile(file);
  loadGraphChoices();
  showRunOptions();
  showSetupLabels();
  showColumnLabels(*column_);
  if (exclude_) exclude_->refresh();
  if (options_) options_->updateDisplay();
  command("CmdStart")->setEnabled(true);
  refreshGraphs();
}

void MainWindow::mnuOpen() {
  if (busy()) return;
  QSettings s;
  const QString start = remember_ ? s.value("folders/last").toString() : QString();
  const QString file = QFileDialog::getOpenFileName(this, "Open Setup File", start, kSetupFilter);
  if (file.isEmpty()) {
    status_->setText(" No file found!");
    return;
  }
  openSetupFile(file);
}

void MainWindow::mnuSave() {
  if (busy()) return;
  if (setupFile_.isEmpty()) {
    mnuSaveAs();
    return;
  }
  storeGraphChoices();
  if (saveSetupAs(folder_, setupFile_.toStdString(), *column_, settings_, *port_))
    rememberFile(setupFile_);
}

void MainWindow::mnuSaveAs() {
  if (busy()) return;
  QSettings s;
  const QString start = remember_ ? s.value("folders/last").toString() : QString();
  QString file = QFileDialog::getSaveFileName(
      this, "Save Setup File As", start.isEmpty() ? "*.cxd" : start + "/*.cxd", kSetupFilter);
  if (file.isEmpty()) return;
  if (QFileInfo(file).suffix().isEmpty()) file += ".cxd";
  storeGraphChoices();
  if (saveSetupAs(folder_, file.toStdString(), *column_, settings_, *port_)) {
    setupFile_ = file;
    rememberFile(file);
  }
}

void MainWindow::mnuWorkingFolder() {
  if (busy()) return;
  const QString dir = QFileDialog::getExistingDirectory(this, "Working Folder",
                                                        QString::fromStdString(folder_.string()));
  if (dir.isEmpty()) return;
  folder_ = dir.toStdString();
  ctx_->folder = folder_;
  ctx_->solver.reset();
  setupFile_.clear();
  if (remember_) QSettings().setValue("folders/working", dir);
  startup({});
  command("CmdStart")->setEnabled(true);
}

void MainWindow::rememberFile(const QString& file) {
  if (!remember_) return;
  QSettings s;
  s.setValue("folders/last", QFileInfo(file).absolutePath());
  QStringList recent = s.value("recentFiles").toStringList();
  recent.removeAll(file);
  recent.prepend(file);
  while (recent.size() > kRecentFiles) recent.removeLast();
  s.setValue("recentFiles", recent);
  updateRecentMenu();
}

void MainWindow::updateRecentMenu() {
  recentMenu_->clear();
  const QStringList recent =
      remember_ ? QSettings().value("recentFiles").toStringList() : QStringList();
  for (const QString& file : recent)
    connect(recentMenu_->addAction(QFileInfo(file).fileName() + "   " + file), &QAction::triggered,
            this, [this, file] {
              if (!busy()) openSetupFile(file);
            });
  recentMenu_->menuAction()->setVisible(!recent.isEmpty());
}

void MainWindow::mnuMakeCurrentInitial() {
  if (busy()) return;
  if (MakeCurrentInitial(*ctx_)) {
    showColumnLabels(*column_);
    command("CmdStart")->setEnabled(true);
    refreshGraphs();
  }
}

void MainWindow::mnuViewErrors() {
  if (auto text = readWholeFile(folder_ / std::string(kLogFileName))) {
    QString t = QString::fromStdString(*text);
    t.replace("\r\n", "\n");
    if (t.endsWith('\n')) t.chop(1);
    events_->setPlainText(t);
  }
  if (auto* dock = findChild<QDockWidget*>("ViewErrorsForm")) {
    dock->show();
    dock->raise();
  }
}

void MainWindow::mnuHelp() {
  QMessageBox::information(
      this, "Cumulex Help",
      "Cumulex simulates a column of magma that cools, crystallizes and differentiates.\n\n"
      "1. Open a setup file (File > Open Setup File...), or use the default basaltic column.\n"
      "2. Find Init. Eq. finds the equilibrium assemblage of every node (iteration 0).\n"
      "3. Start runs the column; Halt stops it at the next turn.  Each saved iteration is\n"
      "   appended to CXoutput.txt in the working folder.\n"
      "4. Load iteration reloads a saved iteration (and cuts the file there); Show Movie\n"
      "   replays the saved iterations; Take snap shot writes a table of the present\n"
      "   iteration.\n"
      "5. Each graph plots the property chosen above it; untick Auto to type the bounds.\n\n"
      "Working folder: " +
          QString::fromStdString(folder_.string()));
}

void MainWindow::mnuAbout() {
  QMessageBox::about(this, "About Cumulex",
                     QString("Cumulex version %1\n\nA reaction-transport model of a crystallizing "
                             "magma column.")
                         .arg(QString::fromLatin1(kVersion)));
}

// --- Questions, messages, closing ------------------------------------------------------------

void MainWindow::setAsker(std::function<bool(const QString&)> asker) {
  asker_ = std::move(asker);
}
void MainWindow::setTeller(std::function<void(const QString&)> teller) {
  teller_ = std::move(teller);
}

bool MainWindow::ask(const QString& question) {
  if (asker_) return asker_(question);
  if (!dialogs_) return false;
  return QMessageBox::question(this, "Cumulex", question, QMessageBox::Yes | QMessageBox::No) ==
         QMessageBox::Yes;
}

void MainWindow::tell(const QString& message) {
  if (teller_) {
    teller_(message);
    return;
  }
  if (dialogs_) QMessageBox::information(this, "Cumulex", message);
}

ExcludeDialog& MainWindow::excludeDialog() {
  if (!exclude_) {
    exclude_ = new ExcludeDialog(*column_, this);
    connect(exclude_, &ExcludeDialog::exclusionsChanged, this, [this] {
      if (options_) options_->updateDisplay();
    });
  }
  return *exclude_;
}

OptionsDialog& MainWindow::optionsDialog() {
  if (!options_) options_ = new OptionsDialog(*column_, settings_, this);
  return *options_;
}

SetupDialog& MainWindow::setupDialog(const QString& name) {
  QPointer<SetupDialog>& d = setupDialogs_[name];
  if (d) {
    d->setRunHeld(held_);
    return *d;
  }
  SetupServices services;
  services.searcher = searcher_.get();
  if (name == "MiscForm")
    d = new MiscDialog(*column_, settings_, *port_, this);
  else if (name == "CompactForm")
    d = new CompactDialog(*column_, settings_, *port_, this);
  else if (name == "BulkForm")
    d = new BulkDialog(*column_, settings_, *port_, services, this);
  else if (name == "InfiltrantForm")
    d = new InfiltrantDialog(*column_, settings_, *port_, services, this);
  else if (name == "InflationForm")
    d = new InflationDialog(*column_, settings_, *port_, services, this);
  else if (name == "SetupDiffusionForm")
    d = new DiffusionDialog(*column_, settings_, *port_, this);
  else
    d = new PartitionDialog(*column_, settings_, *port_, this);
  connect(d, &SetupDialog::setupChanged, this, &MainWindow::setupEdited);
  d->setRunHeld(held_);
  return *d;
}

NodeViewer& MainWindow::nodeViewer() {
  if (!nodeViewer_) {
    nodeViewer_ = new NodeViewer(this);
    // A repair changes the window's column, so only while nothing runs.
    connect(nodeViewer_, &NodeViewer::repairRequested, this,
            [this](int node, NodeViewer::Repair repair) {
              if (busy()) return;
              static constexpr const char* kHow[] = {"the mean of its neighbours", "the node above",
                                                     "the node below"};
              if (!ask(QString("Replace the state of node %1 by %2?")
                           .arg(node)
                           .arg(kHow[static_cast<int>(repair)])))
                return;
              if (repairNode(*column_, node, repair, *log_)) refreshGraphs();
              nodeViewer_->showColumn(*column_);
            });
  }
  return *nodeViewer_;
}

void MainWindow::setupEdited() {
  // The forms set the labels of their own fields; the column's follow here.
  if (busy() && !held_) return;
  showColumnLabels(*column_);
  if (!busy()) command("CmdStart")->setEnabled(true);
  refreshGraphs();
}

void MainWindow::closeEvent(QCloseEvent* event) {
  if (busy()) {
    // The run ends at its next turn; the window closes then.
    closeAfterJob_ = true;
    port_->requestHalt();
    event->ignore();
    return;
  }
  if (remember_) {
    QSettings s;
    s.setValue("window/geometry", saveGeometry());
    s.setValue("window/state", saveState());
  }
  event->accept();
}

}  // namespace cx::desktop
