#include "ui/desktop/phase_dialogs.h"

#include <QButtonGroup>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QVBoxLayout>

#include "column/phase_options.h"

namespace cx::desktop {

namespace {
QString q(std::string_view s) {
  return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size()));
}
}  // namespace

ExcludeDialog::ExcludeDialog(Column& column, QWidget* parent) : QDialog(parent), column_(column) {
  setObjectName("ExcludeForm");
  setWindowTitle(q(phase_options::kExcludeTitle));
  auto* grid = new QGridLayout;
  constexpr int kRows = 13;
  for (int p = 1; p <= kPhases; ++p) {
    auto* box = new QCheckBox(QString::fromStdString(phase_options::excludeCaption(p)), this);
    box->setObjectName(QString("Check(%1)").arg(p));
    checks_[p] = box;
    grid->addWidget(box, (p - 1) % kRows, (p - 1) / kRows);
    if (phase_options::exclusionLocked(p)) {
      // Grayed: these two solutions are never used.
      box->setTristate(true);
      box->setCheckState(Qt::PartiallyChecked);
      box->setEnabled(false);
      continue;
    }
    connect(box, &QCheckBox::clicked, this, [this, p](bool ticked) {
      phase_options::excludeClick(column_.PhaseExcluded, p, ticked);
      refresh();
      emit exclusionsChanged();
    });
  }
  auto* close = new QPushButton("OK", this);
  close->setObjectName("Command1");
  close->setDefault(true);
  connect(close, &QPushButton::clicked, this, &QDialog::accept);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(new QLabel("Checked phases are kept from precipitating.", this));
  layout->addLayout(grid);
  layout->addWidget(close, 0, Qt::AlignRight);
  refresh();
}

void ExcludeDialog::refresh() {
  for (int p = 1; p <= kPhases; ++p)
    if (!phase_options::exclusionLocked(p)) checks_[p]->setChecked(column_.PhaseExcluded(p));
}

OptionsDialog::OptionsDialog(Column& column, Settings& settings, QWidget* parent)
    : QDialog(parent), column_(column), settings_(settings) {
  setObjectName("OptionsForm");
  setWindowTitle(q(phase_options::kOptionsTitle));

  auto* pyxFrame = new QGroupBox(q(phase_options::kPyroxeneFrame), this);
  auto* pyxLayout = new QVBoxLayout(pyxFrame);
  auto* pyxGroup = new QButtonGroup(this);
  for (int m = 1; m <= 3; ++m) {
    pyx_[m] = new QRadioButton(q(phase_options::kPyroxeneCaptions[m]), pyxFrame);
    pyx_[m]->setObjectName(QString("optPyx(%1)").arg(m));
    pyx_[m]->setToolTip(q(phase_options::pyroxeneTip(m)));
    pyxGroup->addButton(pyx_[m], m);
    pyxLayout->addWidget(pyx_[m]);
  }
  // The pyroxenes' own texts (opx and cpx) on a right click of the frame.
  pyxFrame->setContextMenuPolicy(Qt::CustomContextMenu);
  connect(pyxFrame, &QWidget::customContextMenuRequested, this, [this] {
    QMessageBox::information(this, "Pyroxenes", detailsText(4) + "\n\n" + detailsText(5));
  });

  auto* modelFrame = new QGroupBox(q(phase_options::kModelsFrame), this);
  auto* modelLayout = new QVBoxLayout(modelFrame);
  modelLayout->addWidget(new QLabel(q(phase_options::kOptionsHeading), modelFrame));
  for (int p : phase_options::kListedPhases) {
    auto* box = new QCheckBox(q(phase_options::optionCaption(p)), modelFrame);
    box->setObjectName(QString("chkPhase(%1)").arg(p));
    boxes_[p] = box;
    if (phase_options::optionFixed(p)) {
      box->setEnabled(false);
      box->setToolTip(q(phase_options::kFixedModelTip));
    }
    box->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(box, &QWidget::customContextMenuRequested, this, [this, p] { showDetails(p); });
    modelLayout->addWidget(box);
  }
  auto* note = new QLabel(q(phase_options::kOptionsNote), this);
  note->setWordWrap(true);

  auto* buttons = new QDialogButtonBox(this);
  auto* ok = buttons->addButton(QDialogButtonBox::Ok);
  ok->setObjectName("cmdOK");
  auto* cancel = buttons->addButton(QDialogButtonBox::Cancel);
  cancel->setObjectName("cmdCancel");
  auto* def = buttons->addButton(q(phase_options::kDefaultCaption), QDialogButtonBox::ResetRole);
  def->setObjectName("cmdDefault");
  def->setToolTip(q(phase_options::kDefaultTip));
  connect(ok, &QPushButton::clicked, this, &QDialog::accept);
  connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
  connect(def, &QPushButton::clicked, this, [this] {
    const auto c = phase_options::defaultChoice();
    pyx_[c.pyroxeneModel]->setChecked(true);
    for (int p : phase_options::kListedPhases)
      if (!phase_options::optionFixed(p)) boxes_[p]->setChecked(c.ticked[p]);
  });

  auto* row = new QHBoxLayout;
  row->addWidget(pyxFrame, 0, Qt::AlignTop);
  row->addWidget(modelFrame, 1);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(row);
  layout->addWidget(note);
  layout->addWidget(buttons);
  updateDisplay();
}

void OptionsDialog::updateDisplay() {
  const auto c = phase_options::displayedChoice(column_.ActivityFlags, settings_.PyroxeneModel);
  if (c.pyroxeneModel >= 1 && c.pyroxeneModel <= 3) pyx_[c.pyroxeneModel]->setChecked(true);
  for (int p : phase_options::kListedPhases) {
    if (!phase_options::optionFixed(p)) boxes_[p]->setChecked(c.ticked[p]);
    // Red (255) marks a phase that is kept from precipitating.
    boxes_[p]->setStyleSheet(column_.PhaseExcluded(p) ? "color: rgb(255,0,0)" : "color: black");
  }
}

QString OptionsDialog::detailsText(int phase) {
  return QString::fromStdString(phase_options::rightClickText(phase));
}

void OptionsDialog::showDetails(int phase) {
  QMessageBox::information(this, q(phase_options::optionCaption(phase)), detailsText(phase));
}

void OptionsDialog::accept() {
  phase_options::ActivityChoice c;
  for (int m = 1; m <= 3; ++m)
    if (pyx_[m]->isChecked()) c.pyroxeneModel = m;
  for (int p : phase_options::kListedPhases) c.ticked[p] = boxes_[p]->isChecked();
  phase_options::applyChoice(c, column_.ActivityFlags, settings_.PyroxeneModel);
  QDialog::accept();
}

}  // namespace cx::desktop
