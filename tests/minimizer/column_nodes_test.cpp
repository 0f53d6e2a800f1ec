// Node solves of a cooling basalt column (a mid-ocean-ridge basalt, 20 nodes, cooled from the
// top) that once failed, at full precision: the node's bulk, its conditions and the assemblage
// and vector it kept from its previous solve.  Each is solved warm from what the node kept, as the
// column does, and cold from the liquid alone; both must reach an equilibrium (mass balance, no
// negative amount, listed phases saturated, none left out), and the two must agree on the free
// energy: of two answers for one system at one T and P the lower is the equilibrium.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "minimizer_fixture.h"

namespace cx::test {
namespace {

struct NodeCase {
  const char* name;
  bool fixedS;     // false: at fixed temperature
  double T, P, S;  // K (the start at fixed S), bar, J/K per 100 g (the target at fixed S)
  Oxides bulk;
  std::vector<int> phases;  // the assemblage the node kept
  std::vector<double> x;    // the vector the node kept (Xstable, entries not given are 0)
};

// clang-format off
const NodeCase kNodes[] = {
    {"iteration 33 node 20", false, 1288.6612335872169, 1000, 229.31227990969379,
     {50.459925045992115, 1.6796601679660523, 14.697061469706247, 1.1597701159770646,
      0.039990003999003369, 9.3881209388121185, 0.17996001799600289, 7.578480757848105,
      11.387721138772214, 2.789440278944054, 0.15997001599700272, 0.179960017996003,
      0.19996001999600391, 0, 0.099980009998001232},
     {7, 5, 2, 1, 4, 33},
     {0.13600403030777641, 0.0014165452428982622, 0.017125405682639906, 0.0003493357772691684,
      7.7902338665655768e-07, 0.0081347202753520725, 0.0025368848871822605, 0.0041477733781024942,
      0.017010426797792841, 0.0094837241858508371, 0.0033965352243620259, 0.0012678195914318834,
      0.011099517074248626, 0, 0.0001370054766478895, 0.005587078348197886, 0.00011631327196898059,
      0.0076038032481208565, 0.0044455711200885699, 0.0044462085829462782, 0.012007260436081087,
      0.0055864475427575312, 0.00014584190849608854, 0.073672803446028029, 0.028813239067764632,
      0.079764144121937941, 0.071045129423130224, 0.021121573011661777, 0.018599066244653826,
      0.014242469168731071, 0.007265819353117195, 1.7489133338072227e-07, 0.0029818144378170072,
      0.00028471980293574839, -0.00067239778984208576}},
    {"iteration 67 node 20", false, 1231.5441579658741, 1000, 223.32735577282438,
     {53.299714946173282, 0.84293806076616973, 15.149167000426694, 0.51589690090578,
      0.017383293752689592, 8.0984065077383232, 0.19016682589197456, 5.9786712952769463,
      12.284204344254128, 2.9840033976280855, 0.17090892601392796, 0.19016682589196396,
      0.20943435953684358, 0.01679763881112999, 0.052139676932080457},
     {2, 1, 5, 7, 4, 33, 25, 29},
     {0.11493673462227191, 0.00091580301162871164, 0.012321355155845821, 0.0001656116354186131,
      2.4522435297137657e-07, 0.0048987128569379403, 0.0026807696066105387, 0.0018826003544922011,
      0.010619752091032081, 0.0063334214930000268, 0.0036287937070348603, 0.00092464195849877766,
      0.011463202712281234, 0.00033194184436736269, 7.8617522339068276e-05, 0.088188008505295332,
      0.083624101113623645, 0.0056838246125717386, 0.008176282114805946, 0.077980093690356161,
      0.03810369728501873, 0.0022205446510821375, 5.6524246981748925e-05, 0.0048204646809346385,
      0.00234620263256392, 0.0022214071953680324, 0.0048164454273904936, 0.002345223930996395,
      5.6484721924346566e-05, 0.020484798860727203, 0.014597554132961967, 1.1169553589991665e-06,
      0.0015475730981304465, 0.00012534887356016253, 0.00027672311085827697,
      2.3583765117858591e-05, 4.9735929118890031e-05, 2.7713796329001394e-07}},
    {"iteration 158 node 19", true, 1313.5880420889666, 1001.3945001308601, 232.12420869969188,
     {50.459925045990786, 1.6796601679660002, 14.697061469706846, 1.1597701159771547,
      0.039990003999002828, 9.388120938812202, 0.17996001799600769, 7.5784807578481717,
      11.387721138772577, 2.7894402789442108, 0.15997001599700761, 0.17996001799600775,
      0.19996001999601121, 0, 0.099980009998002009},
     {7, 2, 5, 33, 1, 4},
     {0.16387619962283168, 0.0020003691430689405, 0.021678250883164128, 0.00054074928391167551,
      4.0972314952099353e-07, 0.011280553148126158, 0.0025368848871823286, 0.0061077431952074289,
      0.023238804530174149, 0.011777356265313666, 0.0033965352243621304, 0.001267819591431917,
      0.011099517074249034, 0, 0.00018601070434057362, 0.0055818623500733591,
      0.00011231817687113507, 0.0068552340906086195, 0.0042188939262950351, 0.0041889885547096231,
      0.012172005693422, 0.0056217112299091487, 0.00014966299047324862, 0.077767367027241047,
      0.066457865264209645, 0.071696989137220321, 0.02655690942553653, 0.0029328092101243482,
      0.00029257512137073616, 0.02847213009094221, 0.022164123626853646, 0.0057383544340259413,
      0.0026716815761166496, 7.1820469119826535e-07, 0.001035506492239404, 0.0010037554340363228,
      473.70008013368914, 6.9661643304942678e-05}},
    {"iteration 343 node 18", true, 1319.6656204633805, 1002.7635891429679, 232.93851630186398,
     {50.459925045989486, 1.679660167965948, 14.697061469707569, 1.1597701159773581,
      0.039990003998994661, 9.3881209388120226, 0.17996001799601211, 7.5784807578482978,
      11.387721138772989, 2.7894402789442747, 0.15997001599701194, 0.17996001799601205,
      0.19996001999601976, 0, 0.099980009998002745},
     {7, 33, 2, 1, 5, 4},
     {0.17032158407545608, 0.0021443435899296676, 0.022778961416887775, 0.00058964487073565747,
      3.3063559271365173e-07, 0.012028296387111089, 0.0025368848871823902, 0.0066189636072903797,
      0.024775719508155866, 0.012306839653003471, 0.0033965352243622215, 0.0012678195914319471,
      0.011099517074249506, 0, 0.00019809824667957939, 0.0055824614796897779,
      0.00011141356763143956, 0.006686695054049771, 0.0041656965506683546, 0.004133449463265472,
      0.012196570283119462, 0.0056260130187131413, 0.00015047007212227407, 0.0029207216677853646,
      0.00029417440019691155, 0.077251079843040915, 0.065398898488832083, 0.030182816360219904,
      0.022866515815213692, 0.071199907831952014, 0.026033186321883044, 0.0037376093593472146,
      0.0017059676358981424, 8.948198386218853e-07}},
};
// clang-format on

void load(MinimizerSetup& s, const NodeCase& c, bool warm) {
  s.st.ConstantT = !c.fixedS;
  s.st.ConstantS = c.fixedS;
  if (c.fixedS) s.st.Ssystem = c.S;
  if (!warm) return;
  s.st.PhaseCount = static_cast<int>(c.phases.size());
  for (int k = 1; k <= s.st.PhaseCount; ++k)
    s.st.Phaselist(k) = c.phases[static_cast<std::size_t>(k - 1)];
  for (std::size_t i = 0; i < c.x.size(); ++i) s.st.Xstable(static_cast<int>(i) + 1) = c.x[i];
}

// The system's free energy from the potentials the call left: liquid plus phases.
double systemG(MinimizerSetup& s) {
  const MinimizerState& st = s.st;
  double g = 0.0;
  for (int i = 1; i <= kLiquidComponents; ++i) g += st.Xstable(i) * s.model.MuLiq(i);
  int c = kLiquidComponents;
  for (int k = 1; k <= st.PhaseCount; ++k) {
    const int id = st.Phaselist(k);
    for (int j = 1; j <= s.model.activity->PhaseEndCount(id); ++j) {
      ++c;
      if (s.model.sat->PhaseX(id, j) != 0.0) g += st.Xstable(c) * s.model.sat->PhaseMu(id, j);
    }
  }
  return g;
}

// Each node is solved warm (from what it kept) and cold (from the liquid alone).  A solve that
// reports convergence must be an equilibrium: mass balance, no negative amount of liquid or of a
// phase, listed phases within 100 J of saturation, none left out, the temperature held (fixed T)
// or the entropy met (fixed S).  A solve that fails must say why through the report channel,
// and not as a run-time fault: a list that fills up is a reported failure, not a subscript
// fault.  Where both starts converge they must find the same free energy.
TEST(ColumnNodeSolves, EachStartEndsInAnEquilibriumOrAReportedFailure) {
  for (const NodeCase& c : kNodes) {
    double g[2] = {0.0, 0.0}, temp[2] = {0.0, 0.0};
    bool ok[2] = {false, false};
    for (const bool warm : {true, false}) {
      const std::string label = std::string(c.name) + (warm ? " warm" : " cold");
      SCOPED_TRACE(label);
      MinimizerSetup s(c.bulk, c.T, c.P);
      load(s, c, warm);
      const MinimizerResult r = s.solve();
      if (!r.converged) {
        EXPECT_FALSE(r.message.empty()) << label;
        if (s.diag.ErrorFlag) {
          ASSERT_FALSE(s.diag.reports.empty()) << label << ": failed without a report";
        }
        for (const std::string& m : s.diag.reports)
          EXPECT_EQ(m.find("error in subroutine CalcStablePhases"), std::string::npos)
              << label << ": " << m;
        continue;
      }
      EXPECT_EQ(s.P, c.P);
      if (!c.fixedS) {
        EXPECT_EQ(s.T, c.T) << "fixed T moved";
      } else {
        EXPECT_NEAR(s.st.Ssystem, c.S, 1e-4);
      }
      expectEquilibrium(s, label);
      ok[warm ? 0 : 1] = true;
      g[warm ? 0 : 1] = systemG(s);
      temp[warm ? 0 : 1] = s.T;
    }
    if (ok[0] && ok[1]) {
      // At fixed S both searches meet the target within its tolerance: T within a few mK.
      EXPECT_NEAR(temp[0], temp[1], 1e-2) << c.name;
      EXPECT_NEAR(g[0], g[1], 1.0) << c.name << ": warm and cold answers differ in G";
    }
  }
}

}  // namespace
}  // namespace cx::test
