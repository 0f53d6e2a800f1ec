#include "column/column.h"

#include <algorithm>
#include <cmath>

#include "base/fault.h"
#include "base/text_format.h"
#include "base/vb.h"

namespace cx {

Column::Column() {
  // A new program holds 4 nodes at 1273.15 K and 1000 bar, 1 cm apart, and no bulk; the setup
  // file is read over this.  The loader's activity options: simple models everywhere but
  // olivine and orthopyroxene.
  ActivityFlags.fill(true);
  ActivityFlags(1) = false;
  ActivityFlags(4) = false;
  PhaseExcluded(8) = true;
  PhaseExcluded(9) = true;
  Temp.redim(1, NumNodes, 1273.15);
  InitT.redim(1, NumNodes, 1273.15);
  DimensionArrays(Settings{});
  for (int i = 1; i <= NumNodes; ++i) Temp(i) = InitT(i) = 1273.15;
  Press.fill(1000.0);
}

void Column::DimensionArrays(const Settings& settings) {
  const int n = NumNodes;
  for (Array1<double>* a :
       {&Press,     &STotal,     &SLiq,       &SSolid,      &SWater,        &RhoWater,
        &MassWater, &CpBulk,     &RhoLiq,     &RhoSolid,    &MassLiq,       &MassSolid,
        &LiqVisc,   &FO2,        &Vliquid,    &Vsolid,      &VRatio,        &GridPoint,
        &InitFLiq,  &InitMgBulk, &InitMgLiq,  &InitMgSolid, &InitRhoLiq,    &InitRhoSolid,
        &InitSLiq,  &InitSSolid, &InitSTotal, &InitLiqVisc, &InitMassWater, &InitFO2})
    a->redim(1, n);
  FLiq.redim(0, n);
  for (Array2<double>* a : {&BulkOx, &LiqOx, &SolidOx, &InitLiqOx, &InitSolidOx})
    a->redim(1, n, 1, kOxides);
  for (Array2<double>* a : {&TraceLiq, &TraceSolid, &TraceBulk, &TraceGasPpm, &InitTraceLiq,
                            &InitTraceSolid, &InitTraceGas})
    a->redim(1, n, 1, kTraces);
  PhaseCount.redim(1, n);
  PhaseList.redim(1, n, 0, kPhaseListSize);
  Xstable.redim(1, n, 0, kXstableSize);
  PhaseMass.redim(1, n, 1, kPhaseOrderSize);
  InitPhaseMass.redim(1, n, 1, kPhaseOrderSize);
  PhaseX.redim(1, n, 1, kSolidSolutions);
  GasComp.redim(1, n, 1, 6);
  DimensionFarfield(settings);
}

void Column::UpdateDiffusionOrder() {
  DiffusionOrder = 1;
  for (int k = kOxides; k >= 1; --k)
    if (MassDiffCoef(k, k) != 0.0) {
      DiffusionOrder = k;
      break;
    }
  if (DiffusionOrder == 1) MassDiffCoef(1, 1) = 0.0;
}

void Column::DimensionFarfield(const Settings& settings) {
  if (NumNodes < 2) return;
  const int n = NumNodes;
  // Keep the column's temperatures; nodes added above the old top take the old top's value.
  // The old column's size follows from the bounds of InitT: 1..N without slabs, -K*N..(K+1)*N
  // with them.  (Taking the upper bound itself would hand the new nodes slab temperatures.)
  const int oldNodes = InitT.empty() ? 0 : (InitT.lo() < 1 ? InitT.hi() + InitT.lo() : InitT.hi());
  const int m = std::min(n, oldNodes);
  std::array<double, kMaxNodes + 1> savedT{}, savedInitT{};
  for (int i = 1; i <= m && i <= kMaxNodes; ++i) {
    savedT[static_cast<std::size_t>(i)] = Temp.contains(i) ? Temp(i) : 0.0;
    savedInitT[static_cast<std::size_t>(i)] = InitT(i);
  }
  // The field is read as a 16-bit integer; the allocation clamps it to 0..3.
  const int kRead = toInt16(settings.misc(misc::kFarfieldThickness));
  const int k = std::clamp(kRead, 0, 3);
  if (k >= 1) {
    Temp.redim(-k * n, (k + 1) * n);
    InitT.redim(-k * n, (k + 1) * n);
  } else {
    Temp.redim(1, n);
    InitT.redim(1, n);
  }
  for (int i = 1; i <= n; ++i) {
    const std::size_t from = static_cast<std::size_t>(i > m ? m : i);
    if (m >= 1) {
      Temp(i) = savedT[from];
      InitT(i) = savedInitT[from];
    }
  }
  // The second reading is deliberately looser (0..4): a 4 that reached the field is clamped to
  // 3 in the allocation but still builds slabs here, following the actual bounds.
  const int k2 = (kRead < 0 || kRead > 4) ? 0 : kRead;
  const int lb = Temp.lo(), ub = Temp.hi();
  const double tTop = settings.misc(misc::kFarfieldTTop) + kKelvinOffset;
  const double tBot = settings.misc(misc::kFarfieldTBottom) + kKelvinOffset;
  if (k2 < 1 || lb >= 1) {
    // No slabs: the far-field temperatures become the column's end temperatures.
    Temp(1) = InitT(1) = tBot;
    Temp(n) = InitT(n) = tTop;
  } else {
    Temp(lb) = tBot;
    Temp(0) = (tTop + tBot) / 2.0;
    InitT(lb) = Temp(lb);
    InitT(0) = Temp(0);
    const double s = (Temp(0) - tBot) / static_cast<double>(-lb);
    for (int i = lb + 1; i <= -1; ++i) InitT(i) = Temp(i) = Temp(i - 1) + s;
    Temp(n + 1) = (tTop + tBot) / 2.0;
    Temp(ub) = tTop;
    InitT(n + 1) = Temp(n + 1);
    InitT(ub) = Temp(ub);
    // The upper slab reuses the lower slab's step on purpose, so that with unlike slab end
    // temperatures Temp(ub - 1) does not meet Temp(ub) smoothly.
    for (int i = n + 2; i <= ub - 1; ++i) InitT(i) = Temp(i) = Temp(i - 1) + s;
  }
  InitialNeeded = true;
}

void PGradient(Column& c) {
  c.Press(c.NumNodes) = c.TopPressure;
  for (int i = c.NumNodes - 1; i >= 1; --i) {
    const int j = i + 1;
    if (c.RhoLiq(j) == 0.0) c.RhoLiq(j) = 27.0;
    if (!(c.FLiq(j) != 0.0) && c.RhoSolid(j) == 0.0) c.RhoSolid(j) = 27.0;
    // Densities are in g per J/bar; 9.8e-5 turns g/cm2 of overburden into bar.
    c.Press(i) = c.Press(j) +
                 ((1.0 - c.FLiq(j)) * c.RhoSolid(j) + c.FLiq(j) * c.RhoLiq(j)) * c.DeltaX * 9.8e-5;
  }
}

double vaporVelocity(const Column& c, const Settings& s, VaporVelocityAt at) {
  const double p = s.misc(misc::kVaporVelocity);
  if (p >= 0.0) return p * (s.optionInfiltrate ? c.FluxRate : s.compactionVelocity());
  switch (at) {
    case VaporVelocityAt::SetupRead:
      return c.DeltaT > 0.0 ? std::fabs(p) * c.DeltaX / c.DeltaT : 0.0;
    case VaporVelocityAt::RunStart:
      return 0.0;
    case VaporVelocityAt::Iteration:
      break;
  }
  return std::fabs(p) * checkedDiv(c.DeltaX, c.DeltaT);
}

std::string vwaterLabel(double vwater, double threshold) {
  const double perDay = vwater * kSecondsPerDay;
  return std::fabs(vwater) <= threshold ? formatNumber(perDay, "scientific")
                                        : formatNumber(perDay, "###0.000000");
}

double mgNumber(const Array2<double>& ox, int i) {
  const double mgo = ox(i, 8) / OxideMW[8];
  const double feo = ox(i, 6) / OxideMW[6];
  return (mgo + feo) > 0.0 && ox(i, 8) != 0.0 && ox(i, 6) != 0.0 ? mgo / (feo + mgo) : 0.0;
}

void refreshInitialProfiles(Column& c) {
  const auto mg = mgNumber;
  for (int i = 1; i <= c.NumNodes; ++i) {
    c.InitFLiq(i) = c.FLiq(i);
    c.InitLiqVisc(i) = c.LiqVisc(i);
    c.InitRhoLiq(i) = c.RhoLiq(i);
    c.InitRhoSolid(i) = c.RhoSolid(i);
    c.InitSLiq(i) = c.SLiq(i);
    c.InitSSolid(i) = c.SSolid(i);
    c.InitSTotal(i) = c.STotal(i);
    c.InitMassWater(i) = c.MassWater(i);
    c.InitFO2(i) = c.FO2(i);
    for (int j = 1; j <= kOxides; ++j) {
      c.InitLiqOx(i, j) = c.LiqOx(i, j);
      c.InitSolidOx(i, j) = c.SolidOx(i, j);
    }
    for (int t = 1; t <= kTraces; ++t) {
      c.InitTraceLiq(i, t) = c.TraceLiq(i, t);
      c.InitTraceSolid(i, t) = c.TraceSolid(i, t);
      c.InitTraceGas(i, t) = c.TraceGasPpm(i, t);
    }
    for (int k = 1; k <= kPhaseOrderSize; ++k) c.InitPhaseMass(i, k) = c.PhaseMass(i, k);
    c.InitMgBulk(i) = mg(c.BulkOx, i);
    c.InitMgLiq(i) = mg(c.LiqOx, i);
    c.InitMgSolid(i) = mg(c.SolidOx, i);
  }
}

bool scaleOxidesTo100(Array1<double>& ox) {
  double sum = 0.0;
  for (int j = 1; j <= kOxides; ++j) sum += ox(j);
  if (!(sum > 0.0) || std::fabs(sum - 100.0) <= 1e-3) return false;
  for (int j = 1; j <= kOxides; ++j) ox(j) *= 100.0 / sum;
  return true;
}

bool scaleOxidesTo100(Array2<double>& ox, int row) {
  Array1<double> r(1, kOxides);
  for (int j = 1; j <= kOxides; ++j) r(j) = ox(row, j);
  if (!scaleOxidesTo100(r)) return false;
  for (int j = 1; j <= kOxides; ++j) ox(row, j) = r(j);
  return true;
}

std::string vwaterTip(const Settings& s) {
  if (s.misc(misc::kVaporVelocity) < 0.0) return "V(water) = nodes per iteration";
  return s.optionInfiltrate ? "V(water) = fluxrate * Vwater parameter"
                            : "V(water) = characteristic velocity * Vwater parameter";
}

std::string vwaterParameterLabel(const Column& c, const Settings& s) {
  const double p = s.misc(misc::kVaporVelocity);
  if (p < 0.0) return "V(water) = " + formatPlain(-p) + " nodes per iteration";
  return vwaterLabel(vaporVelocity(c, s, VaporVelocityAt::SetupRead), 1e-8);
}

}  // namespace cx
