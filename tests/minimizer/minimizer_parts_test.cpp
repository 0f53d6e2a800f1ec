// The parts of the minimizer: the Hessian against the literal order of its evaluations and the
// symmetry of second derivatives, the constraint matrix against the stoichiometry, the seed and
// the residual of the search modes.
#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <vector>

#include "minimizer_fixture.h"
#include "solver/kernels/hsqp.h"
#include "solver/minimizer_internal.h"

#ifdef CUMULEX_HAVE_EIGEN
#include <Eigen/Dense>
#endif

namespace cx::test {
namespace {

TEST(MinimizerParts, LiquidHessianMatchesThePairwiseOrderBitForBitAndIsSymmetric) {
  MinimizerSetup s(kBasalt, 1200.0 + 273.15, 1000.0);
  MinimizerState& st = s.st;
  // A liquid with one component at its floor (one-sided differences) and one absent.
  Array1<double> X(1, kMaxStateVector);
  for (int i = 1; i <= kLiquidComponents; ++i) X(i) = st.BulkMoles(i);
  X(5) = kLiquidFloor;
  X(14) = 0.0;
  // Potentials at entry that differ from those at X: the first one-sided pair reads them.
  Array1<double> other = X;
  other(1) *= 1.1;
  for (const bool atX : {true, false}) {
    minimizer::liquidAt(s.ctx, atX ? X : other, s.T, s.P);
    Array2<double> fast(1, kMaxStateVector, 1, kMaxStateVector);
    Array2<double> pairs(1, kMaxStateVector, 1, kMaxStateVector);
    Array1<double> X1 = X, X2 = X;
    CalcHessian(s.ctx, st, fast, X1, kLiquidComponents, s.T, s.P);
    const Array1<double> muAfterFast = s.model.MuLiq;
    minimizer::liquidAt(s.ctx, atX ? X : other, s.T, s.P);
    calcLiquidHessianByPairs(s.ctx, pairs, X2, s.T, s.P);
    for (int i = 1; i <= kLiquidComponents; ++i) {
      EXPECT_EQ(X1(i), X(i));
      EXPECT_EQ(muAfterFast(i), s.model.MuLiq(i)) << "potentials left at X";
      for (int j = 1; j <= kLiquidComponents; ++j)
        EXPECT_EQ(fast(i, j), pairs(i, j)) << i << "," << j;
    }
    // d mu_i / d n_j = d mu_j / d n_i (central differences, away from the floor).
    for (int i = 1; i <= kLiquidComponents; ++i)
      for (int j = 1; j <= kLiquidComponents; ++j) {
        if (i == 5 || j == 5 || X(i) == 0.0 || X(j) == 0.0) continue;
        if (X(i) < 1e-5 || X(j) < 1e-5) continue;  // differences of h = 1e-7 too coarse there
        EXPECT_NEAR(fast(i, j), fast(j, i), 1e-3 * std::max(std::fabs(fast(i, j)), 10.0))
            << i << "," << j;
      }
  }
  EXPECT_TRUE(s.diag.reports.empty());
}

TEST(MinimizerParts, SeedConstraintsAndGradientFollowTheStoichiometry) {
  MinimizerSetup s(kBasalt, 1150.0 + 273.15, 1.0);
  MinimizerState& st = s.st;
  int err = 0;
  minimizer::liquidAt(s.ctx, st.BulkMoles, s.T, s.P);
  int all = 0;
  PhaseCompositions(*s.model.sat, all, s.T, s.P, s.model.MuLiq, st.BulkMoles, err);
  // Plagioclase and olivine: two endmembers each.
  st.PhaseCount = 2;
  st.Phaselist(1) = 2;
  st.Phaselist(2) = 1;
  Array1<double> Nhat(1, kMaxStateVector);
  Array1<bool> negOK(1, kMaxStateVector);
  for (int i = 1; i <= kLiquidComponents; ++i) Nhat(i) = st.BulkMoles(i);
  int Ncomp = 0;
  SetNhat(s.ctx, st, Ncomp, Nhat, negOK);
  const int n2 = s.model.activity->PhaseEndCount(2), n1 = s.model.activity->PhaseEndCount(1);
  ASSERT_EQ(Ncomp, kLiquidComponents + n2 + n1);
  // The seed holds 1e-5 mol of each phase at its saturation composition, taken from the liquid:
  // the constraint matrix times the seeded vector is the bulk again.
  Array2<double> C(1, 30, 1, kMaxStateVector), Ct(1, kMaxStateVector, 1, 30);
  Array1<int> list(1, kLiquidComponents);
  list(1) = 14;  // one liquid component held at its floor
  ASSERT_TRUE(MakeMatrixC(s.ctx, st, kLiquidComponents + 1, Ncomp, C, Ct, 1, list));
  for (int i = 1; i <= kLiquidComponents; ++i) {
    double total = 0.0;
    for (int c = 1; c <= Ncomp; ++c) total += C(i, c) * Nhat(c);
    if (st.BulkMoles(i) > 1e-5) {
      EXPECT_NEAR(total, st.BulkMoles(i), 1e-15) << i;
    }
  }
  for (int c = 1; c <= Ncomp; ++c) {
    EXPECT_EQ(C(16, c), c == 14 ? 1.0 : 0.0);
    for (int r = 1; r <= 16; ++r) EXPECT_EQ(Ct(c, r), C(r, c));
  }
  double seeded = 0.0;
  for (int c = kLiquidComponents + 1; c <= Ncomp; ++c) seeded += Nhat(c);
  EXPECT_NEAR(seeded, 2e-5, 1e-12);
  // The gradient is the potentials; the system's G is the sum of moles times potentials, and
  // for each phase G = H - T S (mu = h - T s for every endmember).
  Make_Gv(s.ctx, st, s.T, s.P, s.ctx.Gv, Nhat, Ncomp, false, err);
  double g = 0.0;
  for (int c = 1; c <= Ncomp; ++c) g += s.ctx.Gv(c) * Nhat(c);
  EXPECT_NEAR(st.Gsystem, g, 1e-9 * std::fabs(g));
  int c = kLiquidComponents;
  for (int k = 1; k <= 2; ++k) {
    const int id = st.Phaselist(k);
    double h = 0.0, sEntropy = 0.0;
    for (int j = 1; j <= s.model.activity->PhaseEndCount(id); ++j) {
      ++c;
      if (s.model.sat->PhaseX(id, j) == 0.0) continue;
      h += Nhat(c) * s.model.sat->PhaseH(id, j);
      sEntropy += Nhat(c) * s.model.sat->PhaseS(id, j);
    }
    EXPECT_NEAR(st.PhaseG(id), h - s.T * sEntropy, 1e-7 * std::fabs(h)) << id;
  }
  EXPECT_NEAR(st.PhaseG(2) + st.PhaseG(1) + st.GLiqTotal, st.Gsystem, 1e-9 * std::fabs(g));
  EXPECT_EQ(st.Hsystem, s.ctx.Htot);  // not the target mode: the sums are written
  // A walk that does not end at Ncomp is reported.
  EXPECT_FALSE(MakeMatrixC(s.ctx, st, kLiquidComponents, Ncomp + 1, C, Ct, 0, list));
  ASSERT_EQ(s.diag.reports.size(), 1u);
  EXPECT_EQ(s.diag.reports[0], " error in subroutine MakeMatrixC.");
}

#ifdef CUMULEX_HAVE_EIGEN
// Rank of the first rows of C over the first n columns, by Eigen's pivoted QR.
int rankOf(const Array2<double>& C, int rows, int n) {
  Eigen::MatrixXd m(rows, n);
  for (int r = 1; r <= rows; ++r)
    for (int c = 1; c <= n; ++c) m(r - 1, c - 1) = C(r, c);
  Eigen::ColPivHouseholderQR<Eigen::MatrixXd> qr(m);
  qr.setThreshold(1e-10);
  return static_cast<int>(qr.rank());
}
#endif

TEST(MinimizerParts, FloorsThatRepeatMassBalanceAreLetGo) {
  // Spinel, plagioclase and olivine listed; floors asked for every component the bulk has.  In
  // turn: every endmember present; spinel's Cr and Ti endmembers absent (their components now
  // have one carrier fewer, or none); only one endmember of each phase present.  The floors kept
  // must leave the constraints of full row rank and keep the rank of all the floors asked for
  // (nothing independent let go), and HSQP must take them without flagging dependent rows.
  MinimizerSetup s(kBasalt, 1150.0 + 273.15, 1.0);
  MinimizerState& st = s.st;
  SaturationContext& sat = *s.model.sat;
  int err = 0;
  minimizer::liquidAt(s.ctx, st.BulkMoles, s.T, s.P);
  s.model.setConditions(s.T, s.P);
  int all = 0;
  PhaseCompositions(sat, all, s.T, s.P, s.model.MuLiq, st.BulkMoles, err);
  st.PhaseCount = 3;
  st.Phaselist(1) = 7;
  st.Phaselist(2) = 2;
  st.Phaselist(3) = 1;
  const ActivityContext& act = *s.model.activity;
  for (int variant = 0; variant < 3; ++variant) {
    SCOPED_TRACE("variant " + std::to_string(variant));
    PhaseCompositions(sat, all, s.T, s.P, s.model.MuLiq, st.BulkMoles, err);
    for (int k = 1; k <= st.PhaseCount; ++k) {
      const int id = st.Phaselist(k);
      for (int j = 1; j <= act.PhaseEndCount(id); ++j) {
        if (variant == 0) sat.PhaseX(id, j) = 1.0 / act.PhaseEndCount(id);
        if (variant == 1 && id == 7) {
          bool crOrTi = false;
          for (int i = 1; i <= kLiquidComponents; ++i)
            if (s.model.phases.PhaseStoich(id, j, i) != 0.0 &&
                (trimmedText(s.model.tables.LiqFormula(i)).find("Cr") != std::string::npos ||
                 trimmedText(s.model.tables.LiqFormula(i)).find("Ti") != std::string::npos))
              crOrTi = true;
          sat.PhaseX(id, j) = crOrTi ? 0.0 : 1.0 / act.PhaseEndCount(id);
        }
        if (variant == 2) sat.PhaseX(id, j) = j == 1 ? 1.0 : 0.0;
      }
    }
    int Ncomp = 0;
    Array1<double> Nhat(1, kMaxStateVector);
    Array1<bool> negOK(1, kMaxStateVector);
    for (int i = 1; i <= kLiquidComponents; ++i) Nhat(i) = st.BulkMoles(i);
    SetNhat(s.ctx, st, Ncomp, Nhat, negOK);
    Array1<int> list(1, kLiquidComponents);
    int count = 0;
    for (int i = 1; i <= kLiquidComponents; ++i)
      if (st.BulkMoles(i) > kLiquidFloor) list(++count) = i;
    const Array1<int> asked = list;
    const int askedCount = count;
    const int dropped = dropDependentFloors(s.ctx, st, Ncomp, count, list);
    EXPECT_EQ(dropped, askedCount - count);
    EXPECT_GT(dropped, 0) << "more floors than endmember columns cannot all be independent";
    // The floors kept are among those asked, in their order.
    for (int k = 1, q = 1; k <= count; ++k) {
      while (q <= askedCount && asked(q) != list(k)) ++q;
      EXPECT_LE(q, askedCount) << "kept floor " << list(k) << " was not asked or out of order";
    }
    // A floor whose component no present endmember carries is let go.
    for (int k = 1; k <= count; ++k) {
      const int i = list(k);
      double carried = 0.0;
      for (int q = 1; q <= st.PhaseCount; ++q) {
        const int id = st.Phaselist(q);
        for (int j = 1; j <= act.PhaseEndCount(id); ++j)
          if (sat.PhaseX(id, j) != 0.0) carried += std::fabs(s.model.phases.PhaseStoich(id, j, i));
      }
      EXPECT_GT(carried, 0.0) << "component " << i;
    }
    const int mcKept = kLiquidComponents + count, mcAsked = kLiquidComponents + askedCount;
    Array2<double> C(1, 30, 1, kMaxStateVector), Ct(1, kMaxStateVector, 1, 30);
    ASSERT_TRUE(MakeMatrixC(s.ctx, st, mcKept, Ncomp, C, Ct, count, list));
#ifdef CUMULEX_HAVE_EIGEN
    EXPECT_EQ(rankOf(C, mcKept, Ncomp), mcKept);
    Array2<double> Call(1, 30, 1, kMaxStateVector), Ctall(1, kMaxStateVector, 1, 30);
    ASSERT_TRUE(MakeMatrixC(s.ctx, st, mcAsked, Ncomp, Call, Ctall, askedCount, asked));
    EXPECT_EQ(rankOf(Call, mcAsked, Ncomp), mcKept);
#endif
    // The quadratic program on the floors kept: a positive definite A, any gradient.
    Array2<double> A(1, kMaxStateVector, 1, kMaxStateVector);
    Array1<double> F(1, kMaxStateVector), D(1, 30), X(1, kMaxStateVector), rn(1, 1);
    for (int i = 1; i <= Ncomp; ++i) {
      A(i, i) = 1.0 + i;
      F(i) = -0.1 * i;
    }
    for (int i = 1; i <= kLiquidComponents; ++i) D(i) = st.BulkMoles(i);
    for (int k = 1; k <= count; ++k) D(kLiquidComponents + k) = kLiquidFloor;
    int krank = 0;
    HSQP(A, F, C, D, mcKept, Ncomp, s.ctx.machEps, s.ctx.up, s.ctx.h, s.ctx.g, s.ctx.ip, rn, X,
         krank, s.diag);
    EXPECT_GE(rn(1), 0.0);
    for (int k = 1; k <= count; ++k) EXPECT_NEAR(X(list(k)), kLiquidFloor, 1e-12);
  }
  EXPECT_TRUE(s.diag.reports.empty());
}

TEST(MinimizerParts, EnergyResidualByMode) {
  MinimizerState st;
  st.Hsystem = 10.0;
  st.Ssystem = 20.0;
  st.Vsystem = 30.0;
  struct Row {
    bool t, h, s, v;
    double expected;
  };
  for (const Row& r :
       {Row{true, false, false, false, 0.0}, Row{false, true, false, false, -9.0},
        Row{false, false, true, false, -18.0}, Row{false, false, false, true, -27.0}}) {
    st.ConstantT = r.t;
    st.ConstantH = r.h;
    st.ConstantS = r.s;
    st.ConstantV = r.v;
    EXPECT_EQ(EnergyResidual(st, 1.0, 2.0, 3.0), r.expected);
  }
}

// A candidate of the composition a listed phase holds is that phase again and is refused; a
// candidate of another composition, even one in the span of the listed phases taken together,
// is not.  The compositions are written out from the formulas: Fe3O4 is Fe2O3 + FeO, the
// ulvospinel Fe2TiO4 is TiO2 + 2 FeO, quartz is what an orthopyroxene Mg2Si2O6 holds beyond
// the forsterite Mg2SiO4 of the same magnesium.
TEST(MinimizerParts, ACandidateOfAListedPhasesCompositionIsThatPhaseAgain) {
  MinimizerSetup s(kBasalt, 1100.0 + 273.15, 1.0);
  MinimizerState& st = s.st;
  SaturationContext& sat = *s.model.sat;
  const ActivityContext& act = *s.model.activity;
  auto setX = [&](int id, std::initializer_list<double> x) {
    int j = 0;
    for (int e = 1; e <= act.PhaseEndCount(id); ++e) sat.PhaseX(id, e) = 0.0;
    for (double v : x) sat.PhaseX(id, ++j) = v;
  };
  for (int i = 1; i <= kLiquidComponents; ++i) st.Xstable(i) = st.BulkMoles(i);
  // A spinel of 99 % magnetite (endmember 4) and 1 % hercynite (endmember 5).
  st.PhaseCount = 1;
  st.Phaselist(1) = 7;
  const int nSp = act.PhaseEndCount(7);
  ASSERT_EQ(nSp, 8);
  for (int j = 1; j <= nSp; ++j) st.Xstable(kLiquidComponents + j) = 0.0;
  st.Xstable(kLiquidComponents + 4) = 0.0099;
  st.Xstable(kLiquidComponents + 5) = 0.0001;
  // An Mt-Usp of 99 % magnetite, 1 % ulvospinel: the spinel again.
  setX(13, {0.99, 0.01});
  EXPECT_EQ(duplicatedListedPhase(s.ctx, st, 13), 1);
  // Pure magnetite: the spinel again.
  setX(13, {1.0, 0.0});
  EXPECT_EQ(duplicatedListedPhase(s.ctx, st, 13), 1);
  // A titanomagnetite of half ulvospinel is another phase.
  setX(13, {0.5, 0.5});
  EXPECT_EQ(duplicatedListedPhase(s.ctx, st, 13), 0);
  // Olivine has nothing of the spinel's composition.
  setX(1, {0.9, 0.1});
  EXPECT_EQ(duplicatedListedPhase(s.ctx, st, 1), 0);
  // Olivine Fo90 and orthopyroxene En90 listed: quartz lies in their span (opx - ol), yet it is
  // how one of them leaves the assemblage; it is not refused.  Olivine of the listed
  // composition is.
  st.PhaseCount = 2;
  st.Phaselist(1) = 1;
  st.Phaselist(2) = 4;
  const int nOl = act.PhaseEndCount(1), nOpx = act.PhaseEndCount(4);
  for (int e = kLiquidComponents + 1; e <= kLiquidComponents + nOl + nOpx; ++e) st.Xstable(e) = 0;
  st.Xstable(kLiquidComponents + 1) = 0.09;
  st.Xstable(kLiquidComponents + 2) = 0.01;
  st.Xstable(kLiquidComponents + nOl + 1) = 0.045;
  st.Xstable(kLiquidComponents + nOl + 2) = 0.005;
  setX(16, {1.0});
  EXPECT_EQ(duplicatedListedPhase(s.ctx, st, 16), 0);
  setX(1, {0.9, 0.1});
  EXPECT_EQ(duplicatedListedPhase(s.ctx, st, 1), 1);
  // Fo80 differs from Fo90 by more than the tolerance: another olivine composition, not the
  // listed one (the review, not this rule, decides about it).
  setX(1, {0.8, 0.2});
  EXPECT_EQ(duplicatedListedPhase(s.ctx, st, 1), 0);
}

}  // namespace
}  // namespace cx::test
