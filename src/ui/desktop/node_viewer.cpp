#include "ui/desktop/node_viewer.h"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <cmath>
#include <sstream>

#include "base/text_format.h"
#include "run/node_repair.h"
#include "thermo/constants.h"

namespace cx::desktop {

namespace {

std::string fx(double v, const char* format = "0.0000") {
  return formatNumber(v, format);
}

// A table of named values, `perLine` to a line.
void table(std::ostringstream& out, int count, const std::function<std::string(int)>& name,
           const std::function<double(int)>& value, const char* format, int perLine = 5) {
  for (int k = 1; k <= count; ++k) {
    std::string n = name(k);
    n.resize(std::max<std::size_t>(n.size(), 6), ' ');
    std::string v = formatNumber(value(k), format);
    v.insert(0, v.size() < 11 ? 11 - v.size() : 0, ' ');
    out << n << v << (k % perLine == 0 || k == count ? "\n" : "   ");
  }
}

}  // namespace

QString nodeReport(const Column& c, int i) {
  std::ostringstream out;
  if (i < 1 || i > c.NumNodes || c.MassLiq.empty() || !c.MassLiq.contains(i))
    return "No such node.";
  out << "Node " << i << " of " << c.NumNodes << ", iteration " << c.Iteration << ", height "
      << fx((i - 0.5) * c.DeltaX / 100.0, "0.00") << " m (node " << fx(c.DeltaX, "0.00")
      << " cm)\n\n";
  out << "T            " << fx(c.Temp(i) - kKelvinOffset, "0.00") << " C  (initial "
      << fx(c.InitT(i) - kKelvinOffset, "0.00") << " C)\n";
  out << "P            " << fx(c.Press(i), "0.00") << " bar\n";
  out << "F(liq)       " << fx(c.FLiq(i)) << "\n";
  out << "Mass (g)     liquid " << fx(c.MassLiq(i)) << "   solids " << fx(c.MassSolid(i))
      << "   gas " << fx(c.MassWater(i), "0.000000") << "\n";
  // Densities are held in g per J/bar, ten times g/cm3.
  const auto density = [](double mass, double rho) {
    return mass > 0.0 && rho > 0.0 ? formatNumber(rho / 10.0, "0.0000") : std::string("-");
  };
  out << "Density      liquid " << density(c.MassLiq(i), c.RhoLiq(i)) << "   solids "
      << density(c.MassSolid(i), c.RhoSolid(i)) << "   gas "
      << density(c.MassWater(i), c.RhoWater(i)) << " g/cm3\n";
  out << "Entropy      bulk " << fx(c.STotal(i), "0.00000") << "   liquid "
      << fx(c.SLiq(i), "0.00000") << "   solids " << fx(c.SSolid(i), "0.00000") << "   gas "
      << fx(c.SWater(i), "0.00000") << " J/K/g\n";
  out << "Cp           " << fx(c.CpBulk(i), "0.00000") << " J/K/g\n";
  const double visc = c.LiqVisc(i);
  out << "Viscosity    " << (visc > 0.0 ? fx(std::log10(visc), "0.000") : std::string("-"))
      << " log10 poise\n";
  out << "log f(O2)    " << fx(c.FO2(i), "0.000") << "\n";
  out << "Mg# bulk " << fx(mgNumber(c.BulkOx, i)) << "   liquid " << fx(mgNumber(c.LiqOx, i))
      << "   solids " << fx(mgNumber(c.SolidOx, i)) << "\n\n";

  out << "Phases (" << c.PhaseCount(i) << " saturated):";
  for (int k = 1; k <= c.PhaseCount(i) && k <= kPhaseListSize; ++k) {
    const int p = c.PhaseList(i, k);
    if (p >= 1 && p <= kPhases) out << "  " << PhaseNames[static_cast<std::size_t>(p)];
  }
  out << "\nMass by phase (g), in the run's phase order:\n";
  for (int k = 1; k <= kPhaseOrderSize; ++k) {
    const int p = c.PhaseOrder.contains(k) ? c.PhaseOrder(k) : 0;
    const double m = c.PhaseMass(i, k) - (k > 1 ? c.PhaseMass(i, k - 1) : 0.0);
    if (p < 1 || p > kPhases || m == 0.0) continue;
    std::string n(PhaseNames[static_cast<std::size_t>(p)]);
    n.resize(std::max<std::size_t>(n.size(), 18), ' ');
    out << "  " << n << fx(m) << "\n";
  }
  out << "Composition index of the solutions (%, as the Mineral Compositions graph plots it):\n";
  for (int p = 1; p <= kSolidSolutions; ++p)
    if (c.PhaseX(i, p) != 0.0) {
      std::string n(PhaseNames[static_cast<std::size_t>(p)]);
      n.resize(std::max<std::size_t>(n.size(), 18), ' ');
      out << "  " << n << fx(c.PhaseX(i, p), "0.00") << "\n";
    }

  const auto oxide = [](int j) { return std::string(OxideNames[static_cast<std::size_t>(j)]); };
  const auto trace = [](int t) { return std::string(TraceNames[static_cast<std::size_t>(t)]); };
  out << "\nLiquid (wt %):\n";
  table(
      out, kOxides, oxide, [&](int j) { return c.LiqOx(i, j); }, "0.0000");
  out << "Solids (wt %):\n";
  table(
      out, kOxides, oxide, [&](int j) { return c.SolidOx(i, j); }, "0.0000");
  out << "Bulk (wt %):\n";
  table(
      out, kOxides, oxide, [&](int j) { return c.BulkOx(i, j); }, "0.0000");
  static constexpr const char* kGas[] = {"", "H2O", "CO2", "H2S", "SO2", "CO", "CH4"};
  out << "Gas (wt %):\n";
  table(
      out, 6, [](int k) { return std::string(kGas[k]); }, [&](int k) { return c.GasComp(i, k); },
      "0.0000", 6);
  out << "\nTrace elements, liquid (ppm):\n";
  table(
      out, kTraces, trace, [&](int t) { return c.TraceLiq(i, t); }, "0.000");
  out << "Trace elements, solids (ppm):\n";
  table(
      out, kTraces, trace, [&](int t) { return c.TraceSolid(i, t); }, "0.000");
  out << "Trace elements, bulk (ppm):\n";
  table(
      out, kTraces, trace, [&](int t) { return c.TraceBulk(i, t); }, "0.000");
  return QString::fromStdString(out.str());
}

NodeViewer::NodeViewer(QWidget* parent) : QDialog(parent) {
  setObjectName("ViewNodeForm");
  setWindowTitle("View Node");
  node_ = new QSpinBox(this);
  node_->setObjectName("spinNode");
  node_->setMinimum(1);
  report_ = new QPlainTextEdit(this);
  report_->setObjectName("txtNode");
  report_->setReadOnly(true);
  report_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  report_->setLineWrapMode(QPlainTextEdit::NoWrap);
  connect(node_, &QSpinBox::valueChanged, this, &NodeViewer::showNode);
  auto* close = new QPushButton("OK", this);
  close->setObjectName("cmdOK");
  connect(close, &QPushButton::clicked, this, &QDialog::hide);
  auto* top = new QHBoxLayout;
  top->addWidget(new QLabel("Node:", this));
  top->addWidget(node_);
  top->addSpacing(16);
  struct Cmd {
    const char* name;
    const char* caption;
    Repair repair;
    const char* tip;
  };
  static constexpr Cmd kCommands[] = {
      {"cmdInterpolate", "&Interpolate", Repair::Interpolate,
       "Replace this node by the mean of its neighbours (an end node: by extrapolation)"},
      {"cmdUseNext", "Use &next", Repair::UseNext, "Replace this node by the node above"},
      {"cmdUsePrevious", "Use &previous", Repair::UsePrevious,
       "Replace this node by the node below"},
  };
  for (const Cmd& c : kCommands) {
    auto* b = new QPushButton(c.caption, this);
    b->setObjectName(c.name);
    b->setToolTip(c.tip);
    b->setAutoDefault(false);
    connect(b, &QPushButton::clicked, this,
            [this, r = c.repair] { emit repairRequested(node(), r); });
    top->addWidget(b);
  }
  top->addStretch(1);
  top->addWidget(close);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(top);
  layout->addWidget(report_, 1);
  resize(900, 680);
}

int NodeViewer::node() const {
  return node_->value();
}

bool repairNode(Column& c, int node, NodeViewer::Repair repair, Diagnostics& diag) {
  if (node < 1 || node > c.NumNodes || c.NumNodes < 3) return false;
  switch (repair) {
    case NodeViewer::Repair::Interpolate:
      if (node == 1 || node == c.NumNodes) return Extrapolate(c, node, diag);
      return Interpolate(c, node, diag);
    case NodeViewer::Repair::UseNext:
      return node < c.NumNodes && UseNextPrevious(c, node, 1, diag);
    case NodeViewer::Repair::UsePrevious:
      return node > 1 && UseNextPrevious(c, node, -1, diag);
  }
  return false;
}

void NodeViewer::showColumn(const Column& column) {
  column_ = std::make_unique<Column>(column);
  node_->setMaximum(std::max(1, column.NumNodes));
  showNode(node_->value());
}

void NodeViewer::showNode(int node) {
  if (node_->value() != node) {
    node_->setValue(node);  // comes back here
    return;
  }
  report_->setPlainText(column_ ? nodeReport(*column_, node) : QString("No column loaded."));
}

}  // namespace cx::desktop
