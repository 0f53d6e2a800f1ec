// "Excluded Phases" and "Mineral Activity Options": two small dialogs over the rules of
// column/phase_options.h.  The exclusions change at each click, as the boxes do; the activity
// options change only on OK.
#pragma once

#include <QCheckBox>
#include <QDialog>
#include <QRadioButton>
#include <array>
#include <functional>

#include "column/column.h"
#include "column/settings.h"

namespace cx::desktop {

class OptionsDialog;

class ExcludeDialog : public QDialog {
  Q_OBJECT
 public:
  ExcludeDialog(Column& column, QWidget* parent = nullptr);
  // Check(phase)
  QCheckBox* check(int phase) const { return checks_[phase]; }
  // Shows the flags of the column.
  void refresh();

 signals:
  void exclusionsChanged();

 private:
  Column& column_;
  std::array<QCheckBox*, kPhases + 1> checks_{};
};

class OptionsDialog : public QDialog {
  Q_OBJECT
 public:
  OptionsDialog(Column& column, Settings& settings, QWidget* parent = nullptr);
  QCheckBox* phaseBox(int phase) const { return boxes_[phase]; }
  QRadioButton* pyroxene(int model) const { return pyx_[model]; }
  // UpdateDisplay: the boxes from the flags and the red captions of excluded phases.
  void updateDisplay();
  // The text a right click on a phase shows (also reachable from tests).
  static QString detailsText(int phase);
  // OK: the flags from the boxes, then the dialog closes.
  void accept() override;

 private:
  void showDetails(int phase);
  Column& column_;
  Settings& settings_;
  std::array<QCheckBox*, kPhases + 1> boxes_{};
  std::array<QRadioButton*, 4> pyx_{};
};

}  // namespace cx::desktop
