// The main window of cumulex-gui: the commands (tool bar and menus), the display fields, the four
// graphs, the minimizer's progress, the events view and the status line.
//
// The window owns the column and the settings.  A run, the search for the initial state and the
// film work on a worker thread; while one goes, every command that could change the setup is
// disabled and the window reads only the copies of the column that the run hands over
// (GuiPort).  Loading an iteration, opening and saving setups and making the present state the
// initial one are short and run on the window's thread while nothing else works.
#pragma once

#include <QAction>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QPlainTextEdit>
#include <QPointer>
#include <QThread>
#include <QTimer>
#include <QVector>
#include <array>
#include <filesystem>
#include <functional>
#include <memory>

#include "column/column.h"
#include "column/settings.h"
#include "persist/event_log.h"
#include "run/run_context.h"
#include "ui/desktop/gui_port.h"

class QCheckBox;
class QComboBox;
class QGroupBox;
class QPrinter;
class QRadioButton;

namespace cx::desktop {

class GraphPanel;
class ProgressPanel;
class ExcludeDialog;
class OptionsDialog;
class SetupDialog;
class NodeViewer;
class FormSearcher;

inline constexpr const char* kVersion = "7.03";

struct WindowOptions {
  std::filesystem::path folder;  // the working folder
  std::filesystem::path setup;   // a setup file to open at start, or empty
  bool dialogs = true;           // questions and messages as dialogs (false: tests answer)
  bool rememberSettings = true;  // read and write QSettings (geometry, folders, recent files)
};

class MainWindow : public QMainWindow {
  Q_OBJECT

 public:
  explicit MainWindow(const WindowOptions& options, QWidget* parent = nullptr);
  ~MainWindow() override;

  // --- For the program's options and for tests ----------------------------------------------
  // The command of a control name ("CmdStart", "cmdHalt", "mnuOpen", ...).
  QAction* command(const QString& name) const;
  QString labelText(const QString& name) const;
  QString statusText() const;
  QString moduleText() const;
  QString eventsText() const;
  GraphPanel* graph(int k) const { return graphs_[k]; }
  bool busy() const { return worker_ != nullptr; }
  // A run waits between two iterations (Pause); the setup forms may be used meanwhile.
  bool held() const { return held_; }
  // The column as the window knows it; only while nothing runs.
  const Column& column() const { return *column_; }
  Column& column() { return *column_; }
  Settings& settings() { return settings_; }
  const std::filesystem::path& folder() const { return folder_; }
  // A run stops after this many iterations of one start (-1: no limit).
  void setIterationLimit(int n) { iterationLimit_ = n; }
  // The pause between two frames of the film, ms.
  void setFilmPause(int ms) { filmPause_ = ms; }
  // The iterations the film has shown, in order.
  const QVector<int>& filmFrames() const { return filmFrames_; }
  void setAsker(std::function<bool(const QString&)> asker);
  void setTeller(std::function<void(const QString&)> teller);
  GuiPort& port() { return *port_; }
  ExcludeDialog& excludeDialog();
  OptionsDialog& optionsDialog();
  // The setup form of a control name ("MiscForm", "CompactForm", "BulkForm", "InfiltrantForm",
  // "InflationForm", "SetupDiffusionForm", "PartitionCoefsForm"), made on first use.
  SetupDialog& setupDialog(const QString& name);
  NodeViewer& nodeViewer();
  QLineEdit* loadIterationField() const { return loadIteration_; }
  // The check box of a run switch by control name ("chkSkipEquilibration", ...), and the two
  // buttons of the run constraint ("optionInfiltrate", "optionCompact").
  QCheckBox* runSwitch(const QString& name) const;
  QRadioButton* runConstraint(const QString& name) const;
  // Opens a setup file (mnuOpen after its dialog); a bad file leaves everything as it was.
  void openSetupFile(const QString& file);
  // Prints the four graphs to a PDF file (the print command's painting); false on failure.
  bool exportPdf(const QString& file);
  // Times the redraw of the four graphs from the latest column, ms (for the benchmark).
  double timeRedraw();

 signals:
  // A job on the worker thread has ended and the window is idle again.
  void jobFinished();

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  // --- Building ----------------------------------------------------------------------------
  void buildCommands();
  void buildMenus();
  QWidget* buildDisplayFields();
  QWidget* buildGraphs();
  // The frames "Run options" (the run switches) and "Run Constraint" (infiltration or compaction).
  QWidget* buildRunOptions();
  void buildEventsDock();
  QAction* makeCommand(const char* name, const QString& caption, const QKeySequence& key = {});

  // --- Commands ----------------------------------------------------------------------------
  void cmdStart();
  void cmdHalt();
  void cmdPause();
  void cmdResume();
  void onHeld(int iteration);
  // The setup forms' menu entries: enabled while nothing runs, and while a run is held (all but
  // the bulk form, whose fields are the initial state).
  void enableSetupForms();
  void cmdFindInitial();
  void cmdLoadLastIteration();
  void cmdShowMovie();
  void cmdSnapShot();
  void cmdPrint();
  void cmdExportPdf();
  void mnuOpen();
  void mnuSave();
  void mnuSaveAs();
  void mnuMakeCurrentInitial();
  void mnuViewErrors();
  void mnuWorkingFolder();
  void mnuHelp();
  void mnuAbout();
  // A setup form changed the setup: the labels and graphs follow.
  void setupEdited();

  // --- State -------------------------------------------------------------------------------
  void startup(const std::filesystem::path& setup);
  void runJob(const std::function<void()>& job, const std::function<void()>& after);
  void setRunning(bool running, bool filmOnly = false);
  void onLabel(const QString& name, const QString& text);
  void onResults();
  void onProgress();
  void onEvent(const QString& text);
  // The display fields that follow from the setup and from the column as it stands.
  void showSetupLabels();
  void showColumnLabels(const Column& c);
  // lblFluxRate and lblVwater (with its tool tip): they follow the run mode.
  void showRunModeLabels();
  // The run switches and the run constraint as the settings hold them.
  void showRunOptions();
  void refreshGraphs();
  // The graph choices of the window into the settings (saved with the setup) and back.
  void storeGraphChoices();
  void loadGraphChoices();
  void setTitleFile(const QString& name);
  void rememberFile(const QString& file);
  void updateRecentMenu();
  void paintGraphsTo(QPainter& painter, const QRect& page);
  bool ask(const QString& question);
  void tell(const QString& message);

  std::filesystem::path folder_;
  std::unique_ptr<Column> column_;
  Settings settings_;
  GuiPort* port_;
  std::unique_ptr<EventLog> log_;
  std::unique_ptr<RunContext> ctx_;
  QThread* worker_ = nullptr;
  bool dialogs_;
  bool remember_;
  bool closeAfterJob_ = false;
  bool filmRunning_ = false;
  bool held_ = false;
  int iterationLimit_ = -1;
  int filmPause_ = 150;
  QVector<int> filmFrames_;
  QString setupFile_;  // the file the setup was last opened from or saved to
  std::shared_ptr<const Column> shown_;
  std::function<bool(const QString&)> asker_;
  std::function<void(const QString&)> teller_;

  std::map<QString, QAction*> commands_;
  QLineEdit* loadIteration_ = nullptr;
  QWidget* runOptions_ = nullptr;  // both frames, enabled like the setup forms
  std::map<QString, QCheckBox*> runSwitches_;
  QRadioButton* optionInfiltrate_ = nullptr;
  QRadioButton* optionCompact_ = nullptr;
  std::array<GraphPanel*, 5> graphs_{};
  QComboBox* oxideSelect_ = nullptr;
  QComboBox* traceSelect_ = nullptr;
  ProgressPanel* progress_ = nullptr;
  QPlainTextEdit* events_ = nullptr;
  QLabel* status_ = nullptr;
  QLabel* moduleId_ = nullptr;
  QLabel* pointer_ = nullptr;
  QMenu* recentMenu_ = nullptr;
  QMenu* fileMenu_ = nullptr;
  QMenu* optionsMenu_ = nullptr;
  QPointer<ExcludeDialog> exclude_;
  QPointer<OptionsDialog> options_;
  std::map<QString, QPointer<SetupDialog>> setupDialogs_;
  std::unique_ptr<FormSearcher> searcher_;
  QPointer<NodeViewer> nodeViewer_;
  QTimer progressTimer_;
  std::map<QString, QLabel*> labels_;  // the display fields by control name
  int tick_ = 0;
};

}  // namespace cx::desktop
