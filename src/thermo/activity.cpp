#include "thermo/activity.h"

#include <cmath>

#include "base/fault.h"
#include "thermo/constants.h"
#include "thermo/feldspar.h"
#include "thermo/olivine_opx.h"

namespace cx {

namespace {

constexpr double kR = kGasConstant;

constexpr std::string_view kIdeal = "Ideal";
constexpr std::string_view kSackGhiorso1989 = "Sack & Ghiorso, 1989";
constexpr std::string_view kSackGhiorso = "Sack & Ghiorso";
constexpr std::string_view kModifiedSackGhiorso = "Modified Sack & Ghiorso, 1989";
constexpr std::string_view kElkinsGrove = "Elkins & Grove, 1990";
constexpr std::string_view kGanguly = "Ganguly et al. 1996";
constexpr std::string_view kDuan = "Duan et al. EOS";

// The phases whose non-ideal models come later, and the kind of model each would need.
enum class MissingModel { Pyroxene, RhombOxide, Spinel, Garnet };

const char* missingModelName(MissingModel m) {
  switch (m) {
    case MissingModel::Pyroxene:
      return "pyroxene";
    case MissingModel::RhombOxide:
      return "rhombohedral oxide";
    case MissingModel::Spinel:
      return "spinel";
    case MissingModel::Garnet:
      return "garnet";
  }
  return "";
}

// Reports once per context that the model is missing, and fails the call: the caller then falls
// back as it does for any failed model.
void modelUnavailable(ActivityContext& ctx, int phase, MissingModel m, int& errFlag) {
  errFlag = -1;
  auto& reported = ctx.unavailableReported[static_cast<std::size_t>(phase)];
  if (reported) return;
  reported = true;
  ctx.diag->ErrorReport("The " + std::string(missingModelName(m)) + " activity model for phase " +
                            trimmedText(ctx.phases->PhaseNames(phase)) +
                            " is not available in this version; select the simple model in "
                            "'Options: Solid Solution Models'.",
                        false);
}

// The phase's name for a report; a phase number outside the table is named by its number, so
// that reporting a bad call cannot fault again.
std::string phaseNameOf(const ActivityContext& ctx, int phase) {
  if (phase < 1 || phase > thermo_data::kNumPhases) return std::to_string(phase);
  return ctx.phases->PhaseNames(phase);
}

// Endmembers with fractions X(1..N) and, when one is missing and the rest is worth keeping, the
// remainder as the last.
void idealBranch(const ActivityContext& ctx, int phase, const Array1<double>& X, int N,
                 Array1<double>& Act) {
  double s = 1.0;
  for (int i = 1; i <= N; ++i) {
    Act(i) = X(i);
    s -= X(i);
  }
  if (N < ctx.PhaseEndCount(phase) && s > 1e-7) Act(N + 1) = s;
}

void dispatch(ActivityContext& ctx, int Phase, double T, double P, const Array1<double>& X, int N,
              Array1<double>& Act, int& ErrFlag, std::string_view& model, bool& writeModel) {
  const bool simple = ctx.ActivityFlags(Phase);
  const Array1<double>& g0End = ctx.ss->G0End;
  double scratch = 0.0;
  bool failed = false;
  switch (Phase) {
    case 1:  // olivine
      ActOlivine(T, P, X(1), Act(1), Act(2), failed, *ctx.diag);
      if (failed) ErrFlag = -1;
      model = kSackGhiorso1989;
      return;
    case 2:  // plagioclase: always the ternary model, on the an-ab join when binary
      if (ctx.PhaseEndCount(2) == 3 && N >= 2) {
        ActFeldspar(g0End, T, P, X(1), X(2), 1.0 - X(1) - X(2), Act(1), Act(2), Act(3));
      } else {
        Act(1) = X(1);
        Act(2) = 1.0 - X(1);
        ActFeldspar(g0End, T, P, X(1), 1.0 - X(1), 0.0, Act(1), Act(2), scratch);
      }
      model = kElkinsGrove;
      return;
    case 3:  // alkali feldspar
      if (simple) break;
      if (ctx.PhaseEndCount(3) == 3 && N >= 2)
        ActFeldspar(g0End, T, P, X(1), X(2), 1.0 - X(1) - X(2), Act(1), Act(2), Act(3));
      else if (ctx.PhaseEndCount(3) == 3 && N == 1)
        ActFeldspar(g0End, T, P, X(1), 1.0 - X(1), 0.0, Act(1), Act(2), Act(3));
      else
        ActFeldspar(g0End, T, P, 0.0, X(1), 1.0 - X(1), scratch, Act(1), Act(2));
      model = kElkinsGrove;
      return;
    case 4:  // low-Ca pyroxene
      if (ctx.PyroxeneModel == 1) {
        ActOpx(T, P, X(1), Act(1), Act(2), failed, ctx.machEps, *ctx.diag);
        if (failed) {
          ErrFlag = -1;
        } else if (N >= 2) {
          // The Ca-Cr Tschermak component mixes ideally on one of the two sites.
          Act(3) = (1.0 - X(1) - X(2)) / 2.0;
          if (Act(3) < 1e-5) Act(3) = 0.0;
        }
        model = kModifiedSackGhiorso;
        return;
      }
      modelUnavailable(ctx, Phase, MissingModel::Pyroxene, ErrFlag);
      model = ctx.PyroxeneModel == 2 ? kSackGhiorso : kSackGhiorso1989;
      return;
    case 5:  // high-Ca pyroxene
      if (simple) break;
      if (ctx.PyroxeneModel == 2 || ctx.PyroxeneModel == 3) {
        modelUnavailable(ctx, Phase, MissingModel::Pyroxene, ErrFlag);
        model = ctx.PyroxeneModel == 2 ? kSackGhiorso : kSackGhiorso1989;
        return;
      }
      // Intended: with the simple pyroxene model and the non-ideal option the cpx has no
      // activities of its own, and the model name is left as the caller had it.
      writeModel = false;
      return;
    case 6:   // rhombohedral oxide
    case 12:  // hematite-ilmenite
      if (simple) break;
      modelUnavailable(ctx, Phase, MissingModel::RhombOxide, ErrFlag);
      model = kSackGhiorso;
      return;
    case 7:  // spinel
      if (simple) break;
      modelUnavailable(ctx, Phase, MissingModel::Spinel, ErrFlag);
      model = kSackGhiorso;
      return;
    case 11:  // garnet
      if (simple) break;
      modelUnavailable(ctx, Phase, MissingModel::Garnet, ErrFlag);
      model = kGanguly;
      return;
    case 13:  // magnetite-ulvospinel
      if (simple) break;
      if (ctx.PhaseEndCount(13) == 2) modelUnavailable(ctx, Phase, MissingModel::Spinel, ErrFlag);
      model = kSackGhiorso1989;
      return;
    case 18: {  // biotite: three octahedral sites
      const double x = X(1), y = 1.0 - X(1);
      Act(1) = x * x * x;
      Act(2) = y * y * y;
      model = kIdeal;
      return;
    }
    case 19: {  // cummingtonite: seven octahedral sites
      const double x = X(1), y = 1.0 - X(1);
      Act(1) = std::pow(x, 7);
      Act(2) = std::pow(y, 7);
      model = kIdeal;
      return;
    }
    case kGasPhase:  // gas: the fugacity coefficients are the fluid model's business
      idealBranch(ctx, Phase, X, N, Act);
      model = kDuan;
      return;
    case kLiquid2PhaseId: {
      model = kIdeal;
      if (ctx.liquid == nullptr || !ctx.liquid->liquidPotentials(X, ctx.liquidMu, T, P)) {
        ErrFlag = -1;
        return;
      }
      const double rt = kR * T;
      for (int i = 1; i <= thermo_data::kNumLiquidComponents; ++i)
        Act(i) = X(i) > 0.0 ? checkedExp(checkedDiv(ctx.liquidMu(i) - ctx.ss->G0Liq(i), rt)) : 0.0;
      return;
    }
    default:
      break;
  }
  idealBranch(ctx, Phase, X, N, Act);
  model = kIdeal;
}

}  // namespace

ActivityContext::ActivityContext(const PhaseTable& phaseTable, const StandardState& standardState,
                                 Diagnostics& diagnostics, const Array1<bool>& activityFlags,
                                 int pyroxeneModel, double eps)
    : phases(&phaseTable),
      ss(&standardState),
      diag(&diagnostics),
      ActivityFlags(activityFlags),
      PyroxeneModel(pyroxeneModel),
      PhaseEndCount(1, thermo_data::kNumPhases),
      machEps(eps),
      liquidMu(1, thermo_data::kNumLiquidComponents) {
  for (int p = 1; p <= thermo_data::kNumPhases; ++p) PhaseEndCount(p) = phaseTable.PhaseEndCount(p);
}

void GetActivity(ActivityContext& ctx, int Phase, double T, double P, const Array1<double>& X,
                 int N, Array1<double>& Act, int& ErrFlag, std::string_view* Model) {
  std::string_view model = kIdeal;
  bool writeModel = true;
  ErrFlag = 0;
  Diagnostics& diag = *ctx.diag;
  try {
    // The pyroxenes and the spinel are mapped onto site variables, which may leave 0..1.
    if (Phase != 4 && Phase != 5 && Phase != 7 && !ctx.ActivityFlags(Phase)) {
      for (int i = 1; i <= N; ++i) {
        if (X(i) < 0.0 || X(i) > 1.0) {
          ErrFlag = -1;
          return;
        }
      }
    }
    dispatch(ctx, Phase, T, P, X, N, Act, ErrFlag, model, writeModel);
    if (ErrFlag == -1 && Phase == kLiquid2PhaseId) {
      // No run-time error stands behind this failure, so the number reported is 0.
      if (ctx.ComputeMessages)
        diag.ErrorReport(
            "0 error in subroutine GetActivity for phase " + ctx.phases->PhaseNames(Phase),
            diag.PauseOnError);
      else
        diag.ErrorFlag = true;
    }
  } catch (const Fault& fault) {
    if (!diag.TrapErrors) throw;
    ErrFlag = -1;
    if (ctx.ComputeMessages)
      diag.ErrorReport(std::to_string(fault.number()) +
                           " error in subroutine GetActivity for phase " + phaseNameOf(ctx, Phase),
                       diag.PauseOnError);
    else
      diag.ErrorFlag = true;
    return;
  }
  if (Model != nullptr && writeModel) *Model = model;
}

std::string unavailableActivityModels(const Array1<bool>& ActivityFlags, int PyroxeneModel) {
  constexpr int kPhases = thermo_data::kNumPhases;
  if (!ActivityFlags.contains(1) || !ActivityFlags.contains(kPhases))
    return "ActivityFlags must hold one entry for each phase 1 to 38.";
  if (PyroxeneModel < 1 || PyroxeneModel > 3)
    return "PyroxeneModel must be 1, 2 or 3, not " + std::to_string(PyroxeneModel) + ".";
  std::string list;
  auto add = [&list](const std::string& item) { list += (list.empty() ? "" : ", ") + item; };
  if (PyroxeneModel == 2) add("pyroxene model 2 (Quadrilateral Components)");
  if (PyroxeneModel == 3) add("pyroxene model 3 (8 Components)");
  const struct {
    int phase;
    const char* text;
  } phases[] = {{6, "Rhomb Oxide (non-ideal rhombohedral oxide)"},
                {7, "Spinel (non-ideal spinel)"},
                {11, "Garnet (non-ideal garnet)"},
                {12, "Hem-Ilm (non-ideal rhombohedral oxide)"},
                {13, "Mt-Usp (non-ideal spinel)"}};
  for (const auto& p : phases)
    if (!ActivityFlags(p.phase)) add(p.text);
  if (list.empty()) return {};
  return "These activity models are not available in this version: " + list +
         ". Select the simple model for these phases in 'Options: Solid Solution Models'" +
         (PyroxeneModel == 2 || PyroxeneModel == 3 ? " and the Simple pyroxene model." : ".");
}

}  // namespace cx
