#include "transport/advection.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <initializer_list>

#include "base/fault.h"
#include "base/trap.h"
#include "base/vb.h"
#include "thermo/constants.h"
#include "trace/update_trace.h"
#include "transport/update_bulk.h"

namespace cx {
namespace {

constexpr double kFMin = kAdvectMinLiquidFraction;
// The vapor velocity parameter that moves the gas one node per iteration.
constexpr double kOneNodePerIteration = -10.0;
// A node whose crystals and gas reach this many grams of its 100 has closed: nothing flows.
constexpr double kClosedNode = 99.9;
constexpr double kOxideFloorLiquid = 1e-06;
constexpr double kOxideFloorSolid = 0.0001;
constexpr double kTraceFloor = 1e-07;
constexpr double kGasSpeciesFloor = 1e-05;

void floorBelow(double& x, double limit) {
  if (x < limit) x = 0.0;
}

// The oxides of row i sum to 100 wt % again when they are off by more than 1e-5.
void renormalise(Array2<double>& ox, int i, bool skipEmpty) {
  double s = 0.0;
  for (int j = 1; j <= kOxides; ++j) s += ox(i, j);
  if (skipEmpty && s == 0.0) return;
  if (std::fabs(s - 100.0) > 1e-05) {
    const double f = checkedDiv(100.0, s);
    for (int j = 1; j <= kOxides; ++j) ox(i, j) *= f;
  }
}

// --- The liquid's upwind step -------------------------------------------------------------
// The gradient terms that go with a carried property of the liquid.  A concentration (oxide,
// trace element) is carried by the liquid's mass, so it follows the gradients of both the
// liquid fraction and the liquid density; the density's own step takes the fraction gradient
// twice; entropy and temperature follow the fraction alone; viscosity is a plain upwind step.
enum class LiquidTerms { FractionAndDensity, DensityItself, Fraction, None };

struct LiquidStep {
  double c = 0.0;   // h / DeltaX
  double h = 0.0;   // the sub-step, s
  double dX = 0.0;  // DeltaX
  double V = 0.0;   // the liquid's velocity at node i (after the gas correction)
  double F = 0.0;   // FLiq(i), R = RhoLiq(i), before the node's updates
  double R = 0.0;
  double g = 0.0;    // (FLiq(i) - FLiq(u)) / DeltaX
  double r = 0.0;    // (RhoLiq(i) - RhoLiq(u)) / DeltaX
  double dir = 1.0;  // +1 when the upwind node is below, -1 when it is above
};

double liquidUpdate(double xi, double xu, const LiquidStep& s, LiquidTerms terms) {
  const double dx = xi - xu;
  // The first-order difference is taken along the flow: (x(i) - x(u)) points up when u is below.
  double x = xi - s.c * s.V * dx * s.dir;
  const double FR = s.F * s.R;
  switch (terms) {
    case LiquidTerms::FractionAndDensity:
      x += (s.g * dx / s.dX) * s.R * s.V * s.h / FR + (s.r * dx / s.dX) * s.F * s.V * s.h / FR;
      break;
    case LiquidTerms::DensityItself:
      // The last term takes the fraction gradient g, not the density gradient r: intended.
      x += (s.g * dx / s.dX) * s.R * s.V * s.h / FR + (s.g * dx / s.dX) * s.F * s.V * s.h / FR;
      break;
    case LiquidTerms::Fraction:
      x += (s.g * dx / s.dX) * s.V * s.h / s.F;
      break;
    case LiquidTerms::None:
      break;
  }
  return x;
}

// --- The matrix's steps -------------------------------------------------------------------
// A rigid node gains only what falls in from the node above: its content is the mean of its own
// and the incoming material, weighted by mass (a, b) or by volume (phi, the incoming volume).
double rigidMassMean(double xi, double xAbove, double a, double b) {
  return checkedDiv(b * xAbove + a * xi, a + b);
}
double rigidVolumeMean(double xi, double xAbove, double phi, double incoming) {
  return checkedDiv(phi * xi + incoming * xAbove, phi + incoming);
}

// The gradient terms of a deforming node, upwind from the node above.
enum class SolidTerms { None, Fraction, FractionAndDensity };

struct SolidStep {
  double c = 0.0, h = 0.0, dX = 0.0;
  double V = 0.0;    // VSolid(i)
  double phi = 0.0;  // FSolid(i), R = RhoSolid(i), before the node's updates
  double R = 0.0;
  double g = 0.0;  // (FSolid(i) - FSolid(i+1)) / DeltaX
  double r = 0.0;  // (RhoSolid(i) - RhoSolid(i+1)) / DeltaX
};

double solidUpdate(double xi, double xAbove, const SolidStep& s, SolidTerms terms) {
  const double dx = xi - xAbove;
  double x = xi + s.c * s.V * dx;
  if (terms != SolidTerms::None) x += (s.g * dx / s.dX) * s.V * s.h / s.phi;
  if (terms == SolidTerms::FractionAndDensity)
    x += (s.r * dx / s.dX) * s.phi * s.V * s.h / (s.R * s.phi);
  return x;
}

// --- Node fractions -----------------------------------------------------------------------
void densityFloors(Column& c, int i) {
  for (Array1<double>* rho : {&c.RhoWater, &c.RhoSolid, &c.RhoLiq})
    if ((*rho)(i) <= 0.0) (*rho)(i) = 1.0;
}

struct Fractions {
  double gas = 0.0, solid = 0.0, liquid = 0.0;
};

Fractions volumeFractions(const Column& c, int i) {
  const double vg = c.MassWater(i) / c.RhoWater(i);
  const double vs = c.MassSolid(i) / c.RhoSolid(i);
  const double vl = c.MassLiq(i) / c.RhoLiq(i);
  const double v = vg + vs + vl;
  Fractions f;
  f.gas = c.MassWater(i) > 0.0 ? checkedDiv(vg, v) : 0.0;
  f.solid = c.MassSolid(i) > 0.0 ? checkedDiv(vs, v) : 0.0;
  f.liquid = c.MassLiq(i) > 0.0 ? checkedDiv(vl, v) : 0.0;
  return f;
}

// The solid mass of a node of 100 g from its volume fractions, at most 99.9 g.
double solidMassFromFractions(const Column& c, int i, double fSolid, double fGas) {
  const double fl = c.FLiq(i);
  const double m =
      checkedDiv(100.0 * fSolid * c.RhoSolid(i),
                 c.RhoWater(i) * fGas + c.RhoLiq(i) * fl + (1.0 - fl - fGas) * c.RhoSolid(i));
  return std::min(m, kClosedNode);
}

class Advection {
 public:
  Advection(Column& c, const Settings& s, Array1<double>& vLiq, Array1<double>& vSolid,
            double vGasBase, Array2<double>& mineral, int& topNode, const ThermoTables& tables,
            Diagnostics& diag, Port& port)
      : c_(c),
        s_(s),
        VLiq(vLiq),
        VSolid(vSolid),
        VGasBase(vGasBase),
        MineralMass(mineral),
        TopNode(topNode),
        tables_(tables),
        diag_(diag),
        port_(port),
        N(c.NumNodes) {
    for (Array1<double>* a : {&FGas, &FSolid, &TLiq, &TSolid, &TGas, &VGas, &VEff}) a->redim(1, N);
  }

  void run() {
    port_.setModuleId("Advecting liquid and solid...");
    c_.FLiq(0) = 0.0;
    for (int i = 1; i <= N; ++i) TLiq(i) = TSolid(i) = TGas(i) = c_.Temp(i);

    double vmax = 0.0;
    for (int i = 1; i <= N; ++i) vmax = std::max({vmax, std::fabs(VLiq(i)), std::fabs(VSolid(i))});
    const int n = advectionSubSteps(vmax, c_.DeltaT, c_.DeltaX);
    h_ = c_.DeltaT / n;
    cc_ = h_ / c_.DeltaX;
    for (int step = 1; step <= n; ++step) {
      subStepSetup();
      if (s_.optionInfiltrate && !s_.optionUseFirstLiq) infiltrate();
      liquidSweep();
      if (s_.optionCompact && s_.run.chkSkipCompaction == 0 && TopNode > 1 && c_.PileTop > 0.0)
        solidStage();
      endOfSubStep();
      // The phases' temperatures start the next sub-step from the node's: the node takes them
      // over here, so that what one sub-step carried is not lost.
      if (step < n) nodeTemperatures();
    }
    if (s_.run.chkSkipGas == 0) gasStage();

    for (int i = 1; i <= N; ++i) VLiq(i) = VEff(i);
    nodeTemperatures();
    port_.plotResults();
  }

 private:
  // --- Per sub-step ---------------------------------------------------------------------
  void subStepSetup() {
    const double param = s_.misc(misc::kVaporVelocity);
    for (int i = 1; i <= N; ++i) {
      densityFloors(c_, i);
      const Fractions f = volumeFractions(c_, i);
      FGas(i) = f.gas;
      FSolid(i) = f.solid;
      c_.FLiq(i) = f.liquid;
      TSolid(i) = TLiq(i) = TGas(i) = c_.Temp(i);

      if (param == kOneNodePerIteration) {
        // One node per iteration; below a pile top the gas must also cross the pile's nodes.
        VGas(i) = checkedDiv(c_.DeltaX, c_.DeltaT);
        if (TopNode < N - 2 && i < TopNode)
          VGas(i) = ((TopNode - i + 1) * c_.DeltaX / c_.DeltaT) * (TopNode + 1) / (TopNode - i);
      } else if (VGasBase > 0.0) {
        VGas(i) = VGasBase;
      }
      // Rising gas pushes the liquid it displaces down.
      if (c_.MassWater(i) > 0.0 && s_.run.chkSkipGas == 0)
        VEff(i) = VLiq(i) - checkedDiv(FGas(i), c_.FLiq(i)) * VGas(i);
      else
        VEff(i) = VLiq(i);
    }
  }

  // The infiltrant enters node 1 as the share w of its liquid, mixed by mass.
  void infiltrate() {
    const double w = VEff(1) * cc_;
    const double rhoIn = c_.InfiltrantRho;
    c_.RhoLiq(1) = (1.0 - w) * c_.RhoLiq(1) + rhoIn * w;
    c_.SLiq(1) = (1.0 - w) * c_.SLiq(1) + c_.InfiltrantS * w;
    TLiq(1) = (1.0 - w) * TLiq(1) + (c_.InfiltrantT + kKelvinOffset) * w;
    // The new RhoLiq(1) weighs the node's own liquid, as is required.
    const double mine = (1.0 - w) * c_.RhoLiq(1), in = rhoIn * w;
    for (int j = 1; j <= kOxides; ++j)
      c_.LiqOx(1, j) = checkedDiv(mine * c_.LiqOx(1, j) + in * c_.InfiltrantOx(j), mine + in);
    for (int k = 1; k <= kTraces; ++k) {
      c_.TraceLiq(1, k) =
          checkedDiv(mine * c_.TraceLiq(1, k) + in * c_.InfiltrantTrace(k), mine + in);
      floorBelow(c_.TraceLiq(1, k), kTraceFloor);
    }
  }

  void liquidSweep() {
    for (int i = N; i >= 2; --i) {
      LiquidStep st;
      st.c = cc_;
      st.h = h_;
      st.dX = c_.DeltaX;
      st.V = VEff(i);
      int u = i - 1;
      if (st.V < 0.0) {
        // Downward flow takes its upwind value from above; at the top nothing flows in.
        if (i == N) continue;
        u = i + 1;
        st.dir = -1.0;
      }
      st.F = c_.FLiq(i);
      st.R = c_.RhoLiq(i);
      st.g = (c_.FLiq(i) - c_.FLiq(u)) / c_.DeltaX;
      st.r = (c_.RhoLiq(i) - c_.RhoLiq(u)) / c_.DeltaX;
      if (st.V != 0.0 && st.F <= 0.0) raiseFault(kFaultDivisionByZero);

      for (int j = 1; j <= kOxides; ++j) {
        c_.LiqOx(i, j) =
            liquidUpdate(c_.LiqOx(i, j), c_.LiqOx(u, j), st, LiquidTerms::FractionAndDensity);
        floorBelow(c_.LiqOx(i, j), kOxideFloorLiquid);
      }
      renormalise(c_.LiqOx, i, false);
      for (int k = 1; k <= kTraces; ++k) {
        c_.TraceLiq(i, k) =
            liquidUpdate(c_.TraceLiq(i, k), c_.TraceLiq(u, k), st, LiquidTerms::FractionAndDensity);
        floorBelow(c_.TraceLiq(i, k), kTraceFloor);
      }
      c_.RhoLiq(i) = liquidUpdate(c_.RhoLiq(i), c_.RhoLiq(u), st, LiquidTerms::DensityItself);
      c_.SLiq(i) = liquidUpdate(c_.SLiq(i), c_.SLiq(u), st, LiquidTerms::Fraction);
      TLiq(i) = liquidUpdate(TLiq(i), TLiq(u), st, LiquidTerms::Fraction);
      c_.LiqVisc(i) = liquidUpdate(c_.LiqVisc(i), c_.LiqVisc(u), st, LiquidTerms::None);
    }
  }

  // --- The matrix -------------------------------------------------------------------------
  bool rigid(int i) const { return i == 1 || c_.FLiq(i - 1) < kFMin || c_.FLiq(i) <= kFMin; }

  double filledShare(int t) const { return (c_.PileTop - (t - 1) * c_.DeltaX) / c_.DeltaX; }

  void solidStage() {
    int t = TopNode;
    double p = filledShare(t);
    if (p < 1e-05) {
      VSolid(t) = 0.0;
      if (s_.optionCompact) VLiq(t) = 0.0;
      --t;
      // The node below an empty top node is filled to its top.
      p = 1.0;
    }
    const double vt = VSolid(t);

    // The top node as its pile part alone: crystals spread over the share p below the pile top.
    FSolid(t) = FSolid(t) / p;
    c_.FLiq(t) = 1.0 - FSolid(t) - p * FGas(t);
    const double B =
        p * FGas(t) * c_.RhoWater(t) + c_.RhoSolid(t) * FSolid(t) + c_.RhoLiq(t) * c_.FLiq(t);
    const double M = 100.0 * c_.RhoSolid(t) * FSolid(t) / B;
    const double scale = checkedDiv(M, c_.PhaseMass(t, kPhaseOrderSize));
    for (int j = 1; j <= kPhaseOrderSize; ++j) c_.PhaseMass(t, j) *= scale;
    c_.MassSolid(t) = std::min(c_.MassSolid(t) * scale, kClosedNode);
    c_.MassLiq(t) = 100.0 - c_.MassSolid(t) - p * c_.MassWater(t);

    for (int i = 1; i <= t; ++i) TSolid(i) = c_.Temp(i);

    moveMatrix(t);
    movePhaseMasses(t);
    changeFractions(t);
    carryPileTop(vt);
  }

  void moveMatrix(int t) {
    for (int i = 1; i <= t - 1; ++i) {
      SolidStep st;
      st.c = cc_;
      st.h = h_;
      st.dX = c_.DeltaX;
      st.phi = FSolid(i);
      st.R = c_.RhoSolid(i);
      st.V = VSolid(i);
      const double fAbove = FSolid(i + 1);
      if (rigid(i)) {
        if (fAbove > 0.0 && VSolid(i + 1) < 0.0) {
          // What falls in is what the node above gives off: its velocity, not this node's.
          const double vIn = VSolid(i + 1);
          const double a = st.phi * st.R;
          const double b = -cc_ * vIn * c_.RhoSolid(i + 1) * fAbove;
          const double incoming = -cc_ * vIn * fAbove;
          forEachSolidContent(i,
                              [&](double& x, double above) { x = rigidMassMean(x, above, a, b); });
          for (Array1<double>* a1 : {&c_.RhoSolid, &c_.SSolid, &TSolid})
            (*a1)(i) = rigidVolumeMean((*a1)(i), (*a1)(i + 1), st.phi, incoming);
        }
      } else if (fAbove > 0.0 && st.phi > 0.0) {
        st.g = (FSolid(i) - FSolid(i + 1)) / c_.DeltaX;
        st.r = (c_.RhoSolid(i) - c_.RhoSolid(i + 1)) / c_.DeltaX;
        for (int j = 1; j <= kOxides; ++j)
          c_.SolidOx(i, j) =
              solidUpdate(c_.SolidOx(i, j), c_.SolidOx(i + 1, j), st, SolidTerms::None);
        for (int k = 1; k <= kTraces; ++k)
          c_.TraceSolid(i, k) = solidUpdate(c_.TraceSolid(i, k), c_.TraceSolid(i + 1, k), st,
                                            SolidTerms::FractionAndDensity);
        for (Array1<double>* a1 : {&c_.RhoSolid, &c_.SSolid, &TSolid})
          (*a1)(i) = solidUpdate((*a1)(i), (*a1)(i + 1), st, SolidTerms::Fraction);
        for (int j = MineralMass.colLo(); j <= MineralMass.colHi(); ++j)
          MineralMass(i, j) =
              solidUpdate(MineralMass(i, j), MineralMass(i + 1, j), st, SolidTerms::None);
      }
      for (int j = 1; j <= kOxides; ++j) floorBelow(c_.SolidOx(i, j), kOxideFloorSolid);
      for (int j = MineralMass.colLo(); j <= MineralMass.colHi(); ++j)
        floorBelow(MineralMass(i, j), kOxideFloorSolid);
      for (int k = 1; k <= kTraces; ++k) floorBelow(c_.TraceSolid(i, k), kTraceFloor);
      if (c_.RhoSolid(i) <= 0.0) c_.RhoSolid(i) = 1.0;
      renormalise(c_.SolidOx, i, true);
    }
  }

  // The contents of the solids that mix by mass: oxides, trace elements, mineral compositions.
  template <class F>
  void forEachSolidContent(int i, F&& f) {
    for (int j = 1; j <= kOxides; ++j) f(c_.SolidOx(i, j), c_.SolidOx(i + 1, j));
    for (int k = 1; k <= kTraces; ++k) f(c_.TraceSolid(i, k), c_.TraceSolid(i + 1, k));
    for (int j = MineralMass.colLo(); j <= MineralMass.colHi(); ++j)
      f(MineralMass(i, j), MineralMass(i + 1, j));
  }

  void movePhaseMasses(int t) {
    std::array<double, kPhaseOrderSize + 1> old{};  // row i - 1 before its update
    for (int i = 1; i <= t - 2; ++i) {
      std::array<double, kPhaseOrderSize + 1> mine{};
      for (int j = 1; j <= kPhaseOrderSize; ++j) mine[j] = c_.PhaseMass(i, j);
      if (!rigid(i)) {
        if (c_.MassWater(i) + c_.PhaseMass(i, kPhaseOrderSize) >= kClosedNode) closeNode(i);
        const double V = VSolid(i);
        for (int j = 1; j <= kPhaseOrderSize; ++j) {
          double& x = c_.PhaseMass(i, j);
          x = x - cc_ * V * (c_.PhaseMass(i + 1, j) - old[j]) / 2.0;
          x = x - (cc_ / 2.0) * x * (VSolid(i + 1) - VSolid(i - 1));
          if (x <= 0.0001) x = 0.0;
        }
      } else {
        if (c_.PhaseMass(i + 1, kPhaseOrderSize) + c_.MassWater(i) >= kClosedNode) closeNode(i);
        const double V = VSolid(i);
        for (int j = 1; j <= kPhaseOrderSize; ++j) {
          double& x = c_.PhaseMass(i, j);
          if (x > 0.0) {
            x = x - V * cc_ * c_.PhaseMass(i + 1, j);
            if (x <= 0.001) x = 0.0;
          }
        }
      }
      c_.PhaseMass(i, kPhaseOrderSize) = std::min(c_.PhaseMass(i, kPhaseOrderSize), kClosedNode);
      old = mine;
    }
  }

  void closeNode(int i) {
    VEff(i) = 0.0;
    VSolid(i) = 0.0;
  }

  // The matrix's volume fraction follows d(phi_s)/dt = -d(phi_s V)/dz; the liquid fills the rest.
  void changeFractions(int t) {
    const double deformLimit = s_.compact(compact::kMinLiquidFraction);
    for (int i = 1; i <= t - 1; ++i) {
      if (rigid(i) || !(c_.FLiq(i) > deformLimit && c_.FLiq(i - 1) > deformLimit &&
                        FSolid(i) > 0.0 && FSolid(i + 1) > 0.0)) {
        receiveFromAbove(i, deformLimit);
        continue;
      }
      const double V = VSolid(i);
      const double o = c_.FLiq(i);
      double fl =
          o + (FSolid(i + 1) - FSolid(i)) * V * cc_ + (VSolid(i + 1) - VSolid(i)) * FSolid(i) * cc_;
      fl = std::min(fl, 1.0 - FGas(i));
      if (fl < kFMin) fl = 0.99 * kFMin;
      c_.FLiq(i) = fl;
      FSolid(i) = o + FSolid(i) - fl;
      if (FSolid(i) < 0.001) {
        FSolid(i) = 0.0;
        c_.MassSolid(i) = 0.0;
      } else {
        c_.MassSolid(i) = solidMassFromFractions(c_, i, FSolid(i), FGas(i));
      }
      c_.MassLiq(i) = std::max(100.0 - c_.MassSolid(i) - c_.MassWater(i), 0.1);
    }
  }

  // A node that does not deform takes in, as far as its liquid leaves room above the lowest
  // porosity that deforms, the matrix that the node above gives off downward,
  // c |V(i+1)| FSolid(i+1): the share the deforming node above loses.
  void receiveFromAbove(int i, double deformLimit) {
    if (!(FSolid(i + 1) > 0.0) || !(VSolid(i + 1) < 0.0)) return;
    const double room = c_.FLiq(i) - std::max(deformLimit, 0.99 * kFMin);
    if (room <= 0.0) return;
    const double add = std::min(-cc_ * VSolid(i + 1) * FSolid(i + 1), room);
    c_.FLiq(i) -= add;
    FSolid(i) += add;
    c_.MassSolid(i) = solidMassFromFractions(c_, i, FSolid(i), FGas(i));
    c_.MassLiq(i) = std::max(100.0 - c_.MassSolid(i) - c_.MassWater(i), 0.1);
  }

  void carryPileTop(double vt) {
    c_.PileTop += h_ * vt;
    TopNode = std::min(static_cast<int>(intFloor(c_.PileTop / c_.DeltaX)) + 1, N);
    const int t = TopNode;
    VSolid(t) = vt;
    const double p = filledShare(t);
    // Back to the whole node: the pile part below the pile top, liquid above it.
    c_.FLiq(t) = p * c_.FLiq(t) + (1.0 - p) - FGas(t);
    FSolid(t) = 1.0 - c_.FLiq(t) - FGas(t);
    c_.MassSolid(t) = checkedDiv(
        100.0 * FSolid(t) * c_.RhoSolid(t),
        FGas(t) * c_.RhoWater(t) + c_.RhoLiq(t) * c_.FLiq(t) + FSolid(t) * c_.RhoSolid(t));
    if (c_.MassSolid(t) < 0.1) {
      c_.MassSolid(t) = 0.0;
      TopNode = t - 1;
      c_.FLiq(t) = 1.0 - FGas(t);
      c_.PileTop = TopNode * c_.DeltaX;
    }
    c_.MassLiq(t) = 100.0 - c_.MassSolid(t) - c_.MassWater(t);

    if (TopNode < N) {
      const int a = TopNode + 1;
      VEff(a) = VSolid(a) = 0.0;
      c_.SSolid(a) = 0.0;
      c_.FLiq(a) = std::max(1.0 - FGas(a), 0.99 * kFMin);
      c_.RhoSolid(a) = 1.0;
      FSolid(a) = 0.0;
      c_.MassSolid(a) = 0.0;
      c_.MassLiq(a) = 100.0 - c_.MassWater(a);
      for (int j = 1; j <= kOxides; ++j) c_.SolidOx(a, j) = 0.0;
      for (int k = 1; k <= kTraces; ++k) c_.TraceSolid(a, k) = 0.0;
      for (int j = 1; j <= kPhaseOrderSize; ++j) c_.PhaseMass(a, j) = 0.0;
    }
  }

  // --- Bookkeeping ------------------------------------------------------------------------
  void endOfSubStep() {
    int first = 1, last = N;
    UpdateBulk(c_, first, last, tables_, diag_);
    if (s_.run.chkSkipTrace == 0) UpdateTraceAllNodes(c_, diag_, port_);
  }

  // Node temperature: the volume-weighted mean of its phases' temperatures.  A boundary held at
  // its temperature keeps it.
  void nodeTemperatures() {
    for (int i = 1; i <= N; ++i) {
      const bool free =
          (i > 1 && i < N) || (i == N && s_.run.chkTTop == 1) || (i == 1 && s_.run.chkTBottom == 1);
      if (!free) continue;
      densityFloors(c_, i);
      const Fractions f = volumeFractions(c_, i);
      c_.Temp(i) = (1.0 - f.liquid - f.gas) * TSolid(i) + TLiq(i) * f.liquid + TGas(i) * f.gas;
    }
  }

  // --- The gas ----------------------------------------------------------------------------
  void gasStage() {
    double vmax = 0.0;
    for (int i = 1; i <= N; ++i) vmax = std::max(vmax, std::fabs(VGas(i)));
    const int n = advectionSubSteps(vmax, c_.DeltaT, c_.DeltaX);
    const double h = c_.DeltaT / n;
    const double cg = h / c_.DeltaX;
    const int species = c_.gasSpeciesCount();
    for (int step = 1; step <= n; ++step) {
      for (int i = N; i >= 2; --i) {
        const double w = cg * VGas(i);
        auto up = [w](double xi, double below) { return xi - w * (xi - below); };
        const bool hadGasBelow = c_.MassWater(i - 1) > 0.0;

        c_.MassWater(i) = up(c_.MassWater(i), c_.MassWater(i - 1));
        if (c_.MassWater(i) <= 1e-05) {
          c_.MassWater(i) = 0.0;
          TGas(i) = 0.0;
          c_.SWater(i) = 0.0;
          c_.RhoWater(i) = 1.0;
        }
        if (hadGasBelow) {
          c_.RhoWater(i) = up(c_.RhoWater(i), c_.RhoWater(i - 1));
          if (c_.RhoWater(i) < 1e-05) c_.RhoWater(i) = 1.0;
        }
        gasDisplacesLiquid(i);

        if (c_.MassWater(i) > 0.0) {
          const double above = i < N ? c_.SWater(i + 1) : 0.0;
          if (c_.SWater(i - 1) != 0.0 || above != 0.0) {
            c_.SWater(i) = up(c_.SWater(i), c_.SWater(i - 1));
            TGas(i) = up(TGas(i), TGas(i - 1));
          }
          if (TGas(i) == 0.0) TGas(i) = TGas(i - 1);
        }
        double sum = 0.0;
        for (int j = 1; j <= species; ++j) {
          double& x = c_.GasComp(i, j);
          x = c_.MassWater(i) > 0.0 ? up(x, c_.GasComp(i - 1, j)) : 0.0;
          if (x < kGasSpeciesFloor) x = 0.0;
          sum += x;
        }
        if (sum > 0.0)
          for (int j = 1; j <= species; ++j) c_.GasComp(i, j) *= 100.0 / sum;
        if (c_.MassWater(i) > 0.0 && hadGasBelow) {
          for (int k = 1; k <= kTraces; ++k) {
            c_.TraceGasPpm(i, k) = up(c_.TraceGasPpm(i, k), c_.TraceGasPpm(i - 1, k));
            floorBelow(c_.TraceGasPpm(i, k), kTraceFloor);
          }
        }
      }
      gasLeavesNodeOne(cg);
      endOfSubStep();
    }
  }

  // The node's gas changed: its volume fractions and masses follow, the liquid filling what
  // neither gas nor crystals hold.
  void gasDisplacesLiquid(int i) {
    densityFloors(c_, i);
    const Fractions f = volumeFractions(c_, i);
    FGas(i) = f.gas;
    c_.FLiq(i) = std::max(1.0 - FGas(i) - FSolid(i), 0.99 * kFMin);
    c_.MassSolid(i) =
        FSolid(i) > 0.0 ? solidMassFromFractions(c_, i, FSolid(i), FGas(i)) : c_.MassSolid(i);
    c_.MassLiq(i) = std::max(100.0 - c_.MassSolid(i) - c_.MassWater(i), 0.001);
  }

  // Node 1 only loses gas, to the node above.
  void gasLeavesNodeOne(double cg) {
    if (!(c_.MassWater(1) > 0.0)) return;
    densityFloors(c_, 1);
    FGas(1) = volumeFractions(c_, 1).gas;
    c_.MassWater(1) = c_.MassWater(1) * (1.0 - cg * VGas(1));
    // The fraction loses the new mass times the step, grams for volume, as is required.
    FGas(1) = FGas(1) - cg * VGas(1) * c_.MassWater(1);
    if (c_.MassWater(1) < 1e-08) {
      c_.MassWater(1) = 0.0;
      FGas(1) = 0.0;
      for (int j = 1; j <= c_.GasComp.colHi(); ++j) c_.GasComp(1, j) = 0.0;
    }
    if (c_.MassWater(1) == 0.0) {
      c_.SWater(1) = 0.0;
      c_.RhoWater(1) = 1.0;
      for (int k = 1; k <= kTraces; ++k) c_.TraceGasPpm(1, k) = 0.0;
    }
    c_.FLiq(1) = std::max(1.0 - FGas(1) - FSolid(1), 0.99 * kFMin);
    c_.MassSolid(1) =
        FSolid(1) > 0.0 ? solidMassFromFractions(c_, 1, FSolid(1), FGas(1)) : c_.MassSolid(1);
    c_.MassLiq(1) = std::max(100.0 - c_.MassSolid(1) - c_.MassWater(1), 0.001);
  }

  Column& c_;
  const Settings& s_;
  Array1<double>& VLiq;
  Array1<double>& VSolid;
  double VGasBase;
  Array2<double>& MineralMass;
  int& TopNode;
  const ThermoTables& tables_;
  Diagnostics& diag_;
  Port& port_;
  const int N;
  double h_ = 0.0, cc_ = 0.0;
  Array1<double> FGas, FSolid, TLiq, TSolid, TGas, VGas, VEff;
};

}  // namespace

int advectionSubSteps(double vmax, double dt, double dx) {
  const double crossed = std::fabs(vmax * dt);
  if (crossed > dx) return toInt(crossed / dx + 1.0);
  return 1;
}

void Advect(Column& c, const Settings& s, Array1<double>& VLiq, Array1<double>& VSolid,
            double VGasBase, Array2<double>& MineralMass, int /*PileBottom*/, int& TopNode,
            const ThermoTables& tables, Diagnostics& diag, Port& port) {
  runTrapped(diag, subroutineSuffix("Advect"), [&] {
    Advection(c, s, VLiq, VSolid, VGasBase, MineralMass, TopNode, tables, diag, port).run();
  });
}

}  // namespace cx
