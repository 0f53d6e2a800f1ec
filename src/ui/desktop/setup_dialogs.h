// The setup dialogs of the desktop program: miscellaneous parameters, compaction, bulk
// composition of the nodes, infiltrant, inflation, liquid mass diffusion and partition
// coefficients.
//
// Each dialog edits the window's column and settings directly: the fields are the store of the
// run parameters, so an accepted value is in the setup at once and the next save or start uses
// it.  A field is checked when the user leaves it (Return, Tab or a click elsewhere) by the
// settings' own field check, which every front end shares; a refused value beeps, shows its
// message and puts back the value the check names, selected so that it can be overtyped.
#pragma once

#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "base/port.h"
#include "column/column.h"
#include "column/settings.h"
#include "solver/equilibrium_model.h"
#include "solver/liquidus.h"

class QProgressBar;
class QPushButton;

namespace cx {
class ColumnSolver;
}

namespace cx::desktop {

// The forms' searches (the liquidus, a liquid's properties) can take seconds.  They work on a
// thread of their own, with a phase-equilibrium model of their own, so that the window stays
// alive, Halt stops them at their next step, and a run held between iterations keeps its own
// solver as it was.  Texts and messages of a search reach the window's port (which carries them
// over to the window's thread); its progress reports go to the form that started it.
class FormSearcher {
 public:
  FormSearcher(const Column& column, const Settings& settings, Port& windowPort);
  ~FormSearcher();
  FormSearcher(const FormSearcher&) = delete;
  FormSearcher& operator=(const FormSearcher&) = delete;

  using Job = std::function<void(EquilibriumModel& model, Port& port)>;
  using Progress = std::function<void(const ProgressInfo&)>;
  // Runs `job` on the search thread with the model of the column's present options, and returns
  // when it has ended; the window's events are handled meanwhile.  `progress` receives each
  // report on the search thread.
  void run(const Job& job, Progress progress);
  // Asks the search in hand to stop at its next step (from any thread).
  void halt();
  bool running() const { return running_; }

 private:
  class SearchPort;
  class SearchDiagnostics;
  const Column& column_;
  const Settings& settings_;
  std::unique_ptr<SearchPort> port_;
  std::unique_ptr<SearchDiagnostics> diag_;
  std::unique_ptr<ColumnSolver> solver_;
  bool running_ = false;
};

// What the dialogs need from the window beyond the column and the settings.
struct SetupServices {
  FormSearcher* searcher = nullptr;  // for the forms that search
};

class SetupDialog : public QDialog {
  Q_OBJECT
 public:
  // The field of a control name ("tbInput(9)", "txtbxOxBulk(3)", ...), or null.
  QLineEdit* field(const QString& name) const;
  // Shows the values of the column and the settings in the fields.
  virtual void refresh() = 0;
  // The form is opened while a run is held between two iterations: its edits reach that run's
  // next iteration, and what only a fresh start can take (the far field's size) waits.
  void setRunHeld(bool held) { runHeld_ = held; }

  // The search in hand (forms with a liquidus or properties command): cmdHalt stops it.
  bool searching() const { return searching_; }
  void haltSearch();
  // The progress line of the last search.
  QString searchText() const;
  // Called on the search's thread with each of its progress reports (tests: to act at an exact
  // step of a search).
  void setSearchObserver(std::function<void(const ProgressInfo&)> observer) {
    searchObserver_ = std::move(observer);
  }
  // Escape or the close box during a search halts the search; the form stays open.
  void reject() override;

 signals:
  // A value of the setup changed: the window updates its labels and graphs.
  void setupChanged();

 protected:
  SetupDialog(Column& column, Settings& settings, Port& port, const char* name,
              const QString& title, QWidget* parent);
  // The progress line, its bar and the Halt button (cmdHalt) of a form that searches.
  QWidget* makeSearchBar();
  // Runs a search through the window's searcher, every control but Halt waiting for it; false
  // when no searcher is at hand or a search already runs.
  bool runSearch(SetupServices& services, const FormSearcher::Job& job);
  using Check = std::function<FieldCheck(std::string_view text, std::string_view before)>;
  using Apply = std::function<void(const std::string& text)>;
  // A field whose check runs when it is left; `apply` receives what the field shows afterwards
  // (the accepted value reformatted, or the restored one).
  QLineEdit* makeField(const QString& name, Check check, Apply apply);
  // Shows text in a field without running its check.
  static void showText(QLineEdit* field, const std::string& text);
  void message(std::string_view text);

  Column& column_;
  Settings& settings_;
  Port& port_;
  bool runHeld_ = false;

 private:
  void checkField(QLineEdit* field, const Check& check, const Apply& apply);
  void showSearchProgress(const ProgressInfo& info, int report);
  bool checking_ = false;
  bool searching_ = false;
  FormSearcher* searcher_ = nullptr;  // of the search in hand
  std::function<void(const ProgressInfo&)> searchObserver_;
  QWidget* searchBar_ = nullptr;
  QLabel* searchLine_ = nullptr;
  QProgressBar* searchProgress_ = nullptr;
  QPushButton* halt_ = nullptr;
  std::atomic<int> reports_{0};  // progress reports of the search in hand
  double searchScale_ = 1.0;
};

// MiscForm: tbInput(0..17) and the two groups of options.
class MiscDialog : public SetupDialog {
  Q_OBJECT
 public:
  MiscDialog(Column& column, Settings& settings, Port& port, QWidget* parent = nullptr);
  void refresh() override;
  // cmdOK: hides the form and sizes the far field anew.
  void accept() override;
  QRadioButton* option(const QString& name) const;

 private:
  std::array<QLineEdit*, misc::kCount> fields_{};
};

// CompactForm: txtbxInput(0..6), the two constants' options, the characteristic scales
// (SetScaledValues) and the Hadley preset.
class CompactDialog : public SetupDialog {
  Q_OBJECT
 public:
  CompactDialog(Column& column, Settings& settings, Port& port, QWidget* parent = nullptr);
  void refresh() override;
  // SetScaledValues: lblLengthScale (m), lblTimeScale (days), lblVelocity (cm/s).
  void SetScaledValues();
  // cmdHadley
  void useHadley();
  QString scaleText(const QString& name) const;

 private:
  std::array<QLineEdit*, compact::kCount> fields_{};
  QCheckBox* constantRho_ = nullptr;
  QCheckBox* constantVis_ = nullptr;
  QLabel* lengthScale_ = nullptr;
  QLabel* timeScale_ = nullptr;
  QLabel* velocity_ = nullptr;
};

// A block of 15 oxide and 40 trace fields over two arrays of the column (a node's bulk, the
// infiltrant, the inflating magma).
struct CompositionFields {
  std::array<QLineEdit*, kOxides + 1> oxides{};
  std::array<QLineEdit*, kTraces + 1> traces{};
};

// BulkForm: the column (number of nodes, length, pressure), the node shown (its temperature, its
// oxides and trace elements) and the commands that fill nodes.
class BulkDialog : public SetupDialog {
  Q_OBJECT
 public:
  BulkDialog(Column& column, Settings& settings, Port& port, SetupServices services,
             QWidget* parent = nullptr);
  void refresh() override;
  int node() const { return node_; }
  void showNode(int node);
  // The commands.
  void cmdUniformT();
  void cmdUniformBulk();
  void cmdSameAsNext();
  void cmdSameAsPrevious();
  void cmdNextNode();
  void cmdPrevious();
  void NormalizeBulk();
  void Liquidus();
  void accept() override;

 private:
  void setNodeCount(int n);
  void copyNode(int from, int to);
  SetupServices services_;
  std::array<QLineEdit*, bulk::kCount> fields_{};
  CompositionFields comp_;
  QLabel* stepLength_ = nullptr;
  QLabel* nodeCaption_ = nullptr;
  QLabel* endNote_ = nullptr;
  int node_ = 1;
};

// InfiltrantForm: the liquid that enters at the base in infiltration mode.
class InfiltrantDialog : public SetupDialog {
  Q_OBJECT
 public:
  InfiltrantDialog(Column& column, Settings& settings, Port& port, SetupServices services,
                   QWidget* parent = nullptr);
  void refresh() override;
  // cdFindLiquid: the liquid of the bottom node as it stands.
  void cdFindLiquid();
  // cmdFindProperties: entropy and density of the listed liquid at the listed temperature.
  void cmdFindProperties();
  void cmdFindLiquidusT();
  void NormalizeInfiltrant();
  QString propertiesText() const;
  // OK: the composition scaled to 100 wt % when it is off, as a saved setup gives it back.
  void accept() override;

 private:
  void showProperties();
  SetupServices services_;
  QLineEdit* flux_ = nullptr;
  QLineEdit* temperature_ = nullptr;
  CompositionFields comp_;
  QRadioButton* useListed_ = nullptr;
  QRadioButton* useFirstLiq_ = nullptr;
  QLabel* properties_ = nullptr;
  QLabel* mode_ = nullptr;
};

// InflationForm: the magma that inflates the column, and how far.
class InflationDialog : public SetupDialog {
  Q_OBJECT
 public:
  InflationDialog(Column& column, Settings& settings, Port& port, SetupServices services,
                  QWidget* parent = nullptr);
  void refresh() override;
  // cmdGetBulkNode: the bulk of the node named beside it.
  void cmdGetBulkNode();
  void cmdFindProperties();
  void cmdFindLiquidusT();
  void Normalize();

 private:
  SetupServices services_;
  std::array<QLineEdit*, inflation::kCount> fields_{};
  QCheckBox* inflate_ = nullptr;
  QRadioButton* fillCenter_ = nullptr;
  QRadioButton* fillTop_ = nullptr;
  QLineEdit* bulkNode_ = nullptr;
  QLabel* properties_ = nullptr;
  CompositionFields comp_;
};

// SetupDiffusionForm: the diagonal mass diffusion coefficients and the Soret coefficients of the
// oxides, the trace elements' and the gas's coefficients.
class DiffusionDialog : public SetupDialog {
  Q_OBJECT
 public:
  DiffusionDialog(Column& column, Settings& settings, Port& port, QWidget* parent = nullptr);
  void refresh() override;
  // UpdateDiffusion: finds the oxide closed by mass balance and colours its row.
  void UpdateDiffusion();
  int massBalanceOx() const { return massBalanceOx_; }
  // OK applies the fields, Cancel restores the setup as it was on opening.
  void accept() override;
  void reject() override;

 private:
  std::array<QLineEdit*, 2 * kOxides + 3> fields_{};
  std::array<QLabel*, kOxides + 1> rowNames_{};
  QCheckBox* soret_ = nullptr;
  QLabel* skipped_ = nullptr;
  // The setup as it was on opening, for Cancel.
  Array2<double> savedCoef_;
  Array1<double> savedSoret_;
  int savedOrder_ = 1;
  int savedUseSoret_ = 0;
  std::string savedTrace_, savedGas_;
  int massBalanceOx_ = diffusion::kSiO2;
};

// PartitionCoefsForm: the constant partition coefficients of one phase at a time, and the preset.
class PartitionDialog : public SetupDialog {
  Q_OBJECT
 public:
  PartitionDialog(Column& column, Settings& settings, Port& port, QWidget* parent = nullptr);
  void refresh() override;
  // ComboboxPhases chooses the phase shown (UpdateDisplay).
  void showPhase(int phase);
  int phase() const { return phase_; }
  // cmdDefault: the preset, after its question.
  void cmdDefault();

 private:
  QComboBox* phases_ = nullptr;
  std::array<QLineEdit*, kTraces + 1> fields_{};
  QCheckBox* disableBigD_ = nullptr;
  int phase_ = 1;
};

}  // namespace cx::desktop
