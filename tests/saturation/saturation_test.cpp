#include "solver/equilibrium_model.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/model_fixture.h"

namespace cx {
namespace {

// Mean mid-ocean-ridge basalt glass (Gale et al. 2013), Fe3+/Fe(total) about 0.1, 0.2 wt % H2O.
Array1<double> morb() {
  const double ox[16] = {0,    50.47, 1.68, 14.70, 1.16, 0.04, 9.39, 0.18,
                         7.58, 11.39, 2.79, 0.16,  0.18, 0.20, 0.0,  0.0};
  Array1<double> a(1, 15);
  for (int j = 1; j <= 15; ++j) a(j) = ox[j];
  return a;
}

struct Bench : test::ModelFixture {
  using ModelFixture::ModelFixture;
  void at(double tempC, double pBar, const Array1<double>& oxides) {
    ASSERT_TRUE(model->setConditions(tempC + 273.15, pBar));
    ASSERT_TRUE(model->setLiquidOxides(oxides));
    int err = 0;
    model->saturation(0, err);
  }
  double affinity(int id) const { return model->sat->Affinity(id); }
  double x(int id, int j) const { return model->sat->PhaseX(id, j); }
};

TEST(Saturation, PetrologicalSenseForAMidOceanRidgeBasalt) {
  Bench b;
  b.at(1200.0, 1.0, morb());
  // Olivine: the Fe-Mg exchange coefficient with the liquid, Kd = (Fe/Mg)ol / (Fe/Mg)liq, the
  // liquid's iron and magnesium counted in its Fe2SiO4 and Mg2SiO4 components; Roeder and Emslie
  // (1970) give about 0.30.
  const auto& X = b.model->Xliq;
  const double kd = (b.x(1, 2) / b.x(1, 1)) / (X(6) / X(8));
  EXPECT_GT(kd, 0.27);
  EXPECT_LT(kd, 0.36);
  EXPECT_GT(b.x(1, 1), 0.75);  // a magnesian olivine, near Fo80 for this liquid
  EXPECT_GT(b.x(2, 1), 0.5);   // calcic plagioclase
  // Near its liquidus the basalt is close to olivine and plagioclase saturation together; the
  // Fe-Ti oxides and silica are far from it.
  EXPECT_LT(std::fabs(b.affinity(1)), 5000.0);
  EXPECT_LT(std::fabs(b.affinity(2)), 5000.0);
  EXPECT_GT(b.affinity(16), 3000.0);
  EXPECT_GT(b.affinity(17), 10000.0);
  // Excluded phases keep the value that means "not available".
  EXPECT_EQ(b.affinity(8), 1e6);
  EXPECT_EQ(b.affinity(9), 1e6);

  // Olivine is undersaturated well above the liquidus and oversaturated well below it.
  b.at(1400.0, 1.0, morb());
  EXPECT_GT(b.affinity(1), 0.0);
  b.at(1100.0, 1.0, morb());
  EXPECT_LT(b.affinity(1), 0.0);
}

// At the composition the saturation state finds, every endmember of the phase has the same
// affinity: R T ln a(j) + Aend(j) equals the phase's affinity (Aend: standard state minus the
// liquid's potentials of the same make-up).
TEST(Saturation, EveryEndmemberSharesThePhaseAffinity) {
  ModelOptions ternary;
  ternary.ActivityFlags(2) = ternary.ActivityFlags(3) = false;  // three-component feldspars
  for (const ModelOptions& options : {ModelOptions{}, ternary}) {
    Bench b(options);
    for (double tempC : {1150.0, 1200.0, 1250.0}) {
      b.at(tempC, 1.0, morb());
      for (int id : {1, 2, 4}) {
        const int n = b.model->activity->PhaseEndCount(id);
        Array1<double> act(1, 15), xs(1, 15);
        int err = 0;
        for (int j = 1; j <= n; ++j) xs(j) = b.x(id, j);
        GetActivity(*b.model->activity, id, tempC + 273.15, 1.0, xs, n, act, err);
        ASSERT_EQ(err, 0) << id;
        double sumSquares = 0.0;
        int counted = 0;
        for (int j = 1; j <= n; ++j) {
          if (xs(j) <= 0.0) continue;
          double aend = b.model->ss->G0End(b.model->sat->endIndex(id, j));
          for (int i = 1; i <= 15; ++i)
            aend -= b.model->phases.PhaseStoich(id, j, i) * b.model->MuLiq(i);
          const double r = 8.3143 * (tempC + 273.15) * std::log(act(j)) + aend - b.affinity(id);
          sumSquares += r * r;
          ++counted;
        }
        EXPECT_GE(counted, 2) << id;
        EXPECT_LT(sumSquares, 10.0) << "phase " << id << " at " << tempC << " C";
      }
    }
  }
}

TEST(Saturation, AnAbsentComponentRemovesItsEndmembersAndOneEndmemberIsPure) {
  // Without K2O the alkali feldspar (orthoclase only) cannot form; without TiO2 neither can
  // rutile; corundum has one endmember and takes its pure-phase affinity.
  Array1<double> ox = morb();
  ox(11) = 0.0;
  ox(2) = 0.0;
  Bench b;
  b.at(1200.0, 1.0, ox);
  EXPECT_EQ(b.affinity(3), 1e6);
  EXPECT_EQ(b.affinity(21), 1e6);
  EXPECT_EQ(b.x(26, 1), 1.0);
  double aend = b.model->ss->G0End(3);
  for (int i = 1; i <= 15; ++i) aend -= b.model->phases.PhaseStoich(26, 1, i) * b.model->MuLiq(i);
  EXPECT_NEAR(b.affinity(26), aend, 1e-6);
}

}  // namespace
}  // namespace cx
