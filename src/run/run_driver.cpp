#include "run/run_driver.h"

#include <algorithm>
#include <cfenv>
#include <cmath>
#include <optional>
#include <utility>

#include "base/text_format.h"
#include "base/trap.h"
#include "base/vb.h"
#include "persist/files.h"
#include "persist/output_file.h"
#include "persist/setup_file.h"
#include "persist/snapshot.h"
#include "run/initial_state.h"
#include "run/node_equilibrium.h"
#include "thermo/activity.h"
#include "trace/update_trace.h"
#include "transport/adjust_nodes.h"
#include "transport/advection.h"
#include "transport/compaction.h"
#include "transport/drip.h"
#include "transport/make_cumulate.h"
#include "transport/mass_diffusion.h"
#include "transport/mix_magma.h"
#include "transport/thermal_diffusion.h"
#include "transport/update_bulk.h"

namespace cx {
namespace {

// Thrown to leave CXControl from any depth once a message has been given.
struct LeaveRun {};

constexpr int kFpFaults = FE_OVERFLOW | FE_INVALID | FE_DIVBYZERO;

std::string itr(const Column& c) {
  return "Itr: " + std::to_string(c.Iteration);
}

constexpr const char* kNoTraceContentNote =
    "Trace elements are on, but no node holds any trace element: their contents stay zero.";

// Whether any node starts with a trace element, entered or carried from a saved iteration.
bool anyTraceContent(const Column& c) {
  for (int i = 1; i <= c.NumNodes; ++i)
    for (int t = 1; t <= kTraces; ++t)
      if (c.InitBulkTrace(i, t) != 0.0 || c.TraceBulk(i, t) != 0.0) return true;
  return false;
}

}  // namespace

void showTime(Port& port, const char* valueLabel, const char* captionLabel, const char* captionDays,
              const char* captionYears, double seconds) {
  if (seconds > kSecondsPerYear) {
    port.setLabel(valueLabel, formatNumber(seconds / kSecondsPerYear, "0.0000"));
    port.setLabel(captionLabel, captionYears);
  } else {
    port.setLabel(valueLabel, formatNumber(seconds / kSecondsPerDay, "0.0000"));
    port.setLabel(captionLabel, captionDays);
  }
}

ProcessTable standardProcesses() {
  ProcessTable p;
  p.FindInitial = [](RunContext& ctx) { FindInitial(ctx); };
  p.Equilibrate = [](RunContext& ctx) { Equilibrate(ctx); };
  p.UpdateBulk = [](RunContext& ctx) {
    int first = 1, last = ctx.column.NumNodes;
    UpdateBulk(ctx.column, first, last, columnSolver(ctx).tables(), ctx.log);
  };
  p.UpdateTrace = [](RunContext& ctx) { UpdateTraceAllNodes(ctx.column, ctx.log, ctx.port); };
  p.CompactPile = [](RunContext& ctx) {
    Column& c = ctx.column;
    runTrapped(ctx.log, subroutineSuffix("Compact Pile"), [&] {
      CompactionVelocities v = CompactPile(c, ctx.settings, ctx.port);
      c.Vliquid = std::move(v.VLiq);
      c.Vsolid = std::move(v.VSolid);
      c.BottomNode = v.PileBottom;
      c.TopNode = v.TopNode;
      c.VRatio = std::move(v.VRatio);
    });
  };
  p.Advect = [](RunContext& ctx) {
    Column& c = ctx.column;
    Advect(c, ctx.settings, c.Vliquid, c.Vsolid, c.Vwater, c.PhaseX, c.BottomNode, c.TopNode,
           columnSolver(ctx).tables(), ctx.log, ctx.port);
  };
  p.TDiffusion = [](RunContext& ctx) { TDiffusion(ctx.column, ctx.settings, ctx.log, ctx.port); };
  p.MassDiffusion = [](RunContext& ctx) {
    MassDiffusion(ctx.column, ctx.settings, ctx.column.BottomNode, columnSolver(ctx).tables(),
                  ctx.log, ctx.port);
  };
  p.MixMagma = [](RunContext& ctx) {
    MixMagma(ctx.column, columnSolver(ctx).tables(), ctx.log, ctx.port);
    if (!ctx.log.ErrorFlag) ctx.log.append("  Magma mixing completed.");
  };
  p.MakeCumulate = [](RunContext& ctx) {
    Column& c = ctx.column;
    MakeCumulate(c, c.NumNodes, c.FLiqMin2, c.TopNode, columnSolver(ctx).tables(), ctx.log);
  };
  p.Drip = [](RunContext& ctx) {
    Drip(ctx.column, ctx.column.TopNode, columnSolver(ctx).tables(), ctx.log, ctx.port);
  };
  p.AdjustNodes = [](RunContext& ctx) {
    Column& c = ctx.column;
    // A node the last equilibration did not solve keeps its length.
    if (ctx.Stretch.lo() != 1 || ctx.Stretch.hi() != c.NumNodes)
      ctx.Stretch.redim(1, c.NumNodes, 1.0);
    AdjustNodes(c, ctx.settings, ctx.Stretch, c.TopNode, ctx.log, ctx.port);
  };
  return p;
}

std::string missingProcessMessage(const ProcessTable& p, const Settings& s) {
  std::string missing;
  auto need = [&](bool needed, const ProcessTable::Step& step, const std::string& what,
                  const std::string& how) {
    if (needed && !step) missing += "  " + what + ": " + how + "\n";
  };
  need(s.run.chkSkipTDiffusion == 0, p.TDiffusion, "thermal diffusion",
       "check \"Skip T Diffusion\"");
  need(s.run.chkSkipEquilibration == 0, p.Equilibrate, "equilibration",
       "check \"Skip Equilibration\"");
  need(s.run.chkSkipTrace == 0, p.UpdateTrace, "trace elements", "check \"Skip Trace Elements\"");
  need(s.run.chkSkipTrace == 0, p.UpdateBulk, "bulk bookkeeping", "check \"Skip Trace Elements\"");
  need(s.chkInflate == 1, p.InflateColumn, "column inflation", "uncheck \"Inflation active \"");
  if (missing.empty()) return {};
  // Every line is a switch the user can set; duplicates (one switch for two processes) once.
  std::string unique;
  std::size_t start = 0;
  while (start < missing.size()) {
    const std::size_t end = missing.find('\n', start);
    const std::string line = missing.substr(start, end - start + 1);
    if (unique.find(line.substr(line.find(':'))) == std::string::npos) unique += line;
    start = end + 1;
  }
  return "This setup needs processes that this version of Cumulex cannot run yet:\n" + unique +
         "Change the setup as shown to run without them.";
}

namespace {

class Driver {
 public:
  explicit Driver(RunContext& ctx)
      : ctx_(ctx), c_(ctx.column), s_(ctx.settings), log_(ctx.log), port_(ctx.port) {}

  RunOutcome run() {
    try {
      if (log_.TrapErrors) {
        try {
          body();
        } catch (const Fault& f) {
          // The trap around the whole loop: the fault's own description, then the routine.
          log_.ErrorFlag = true;
          report(std::string(f.what()) + " error in subroutine CXControl.", log_.PauseOnError);
        }
      } else {
        body();
      }
    } catch (const LeaveRun&) {
    }
    // The operator's halt discards the iteration it interrupted: the column goes back to the
    // last whole one.  (An abort chosen after a reported failure keeps the failed state.)
    if (log_.HaltFlag && !log_.ErrorFlag && inIteration_ && lastWhole_) c_ = *lastWhole_;
    saveLastWhole();
    outcome_.error = log_.ErrorFlag;
    outcome_.halted = log_.HaltFlag;
    return outcome_;
  }

  // Whatever way the run ends, the last whole iteration is in the output file, so that the
  // iteration the run says it reached can be continued from.
  void saveLastWhole() {
    if (!lastWhole_ || lastWhole_->Iteration <= lastSaved_) return;
    const bool halted = log_.HaltFlag;
    log_.HaltFlag = false;  // the report of a failed write must not be taken for a halt
    if (WriteIteration(ctx_.folder, *lastWhole_, /*startNewFile=*/false, log_)) {
      lastSaved_ = lastWhole_->Iteration;
      log_.append("  Saved iteration: " + std::to_string(lastSaved_));
    } else {
      outcome_.message = "The last iteration, " + std::to_string(lastWhole_->Iteration) +
                         ", could not be saved; the output file ends at iteration " +
                         std::to_string(lastSaved_) + ".";
    }
    log_.HaltFlag = log_.HaltFlag || halted;
  }

 private:
  // --- Messages ---------------------------------------------------------------------------
  [[noreturn]] void stopWithMessage(const std::string& msg) {
    port_.showMessage(msg);
    outcome_.message = msg;
    log_.ErrorFlag = true;
    throw LeaveRun{};
  }
  void report(const std::string& msg, bool pause) {
    outcome_.message = msg;
    log_.ErrorReport(msg, pause);
  }
  void turn() { port_.doEvents(); }

  // The check after a process: a turn, the halt, then the failure report.  A failed process
  // does not end the run: its failure is logged and the iteration goes on.
  void commonCheck(const std::string& failureText) {
    if (std::fetestexcept(kFpFaults)) {
      // No NaN or infinity may enter the column unreported.
      log_.ErrorFlag = true;
      report(itr(c_) + "  - Floating-point overflow, invalid operation or division by zero", false);
    }
    std::feclearexcept(FE_ALL_EXCEPT);
    turn();
    // A halt that lands inside a process stops it part-way; what it reports then is the
    // interruption, not a failure, and the interrupted iteration is discarded.
    if (log_.HaltFlag) {
      log_.ErrorFlag = false;
      throw LeaveRun{};
    }
    if (log_.ErrorFlag) {
      report(itr(c_) + failureText, log_.PauseOnError);
      if (log_.HaltFlag) throw LeaveRun{};
      log_.ErrorFlag = false;
    }
  }

  void runProcess(const ProcessTable::Step& step, const char* what) {
    if (!step) {
      // Only reachable when a setting changed while the run waited.
      report(std::string("This version of Cumulex cannot run ") + what +
                 "; the run stops here. Switch it off in the setup to continue.",
             false);
      log_.ErrorFlag = true;
      throw LeaveRun{};
    }
    std::feclearexcept(FE_ALL_EXCEPT);
    step(ctx_);
  }

  void showTimeStep() {
    showTime(port_, "lblTimeStep", "lblTStepLabel",
             "Time step (days):", "Time step (yrs):", c_.DeltaT);
  }

  double compactionLength() const {
    const double a = c_.GrainRadius;
    return a * checkedSqrt(checkedDiv(c_.SolidVisc * c_.PermK0, c_.LiqViscConst));
  }

  void readCompactionParameters() {
    c_.GrainRadius = s_.compact(compact::kGrainRadiusMm) * 0.1;
    c_.SolidVisc = s_.compact(compact::kSolidViscosity) * 10.0;
    c_.LiqViscConst = s_.compact(compact::kLiquidViscosity) * 10.0;
    c_.PermK0 = s_.compact(compact::kPermeability);
  }

  void showVwater(double threshold) {
    port_.setLabel("lblVwater", vwaterLabel(c_.Vwater, threshold));
  }

  // --- The start of a run -----------------------------------------------------------------
  void start() {
    log_.PauseOnError = s_.run.chkPauseOnError == 1;
    for (int i = 1; i <= c_.NumNodes; ++i)
      if (c_.InitBulkOx(i, 1) == 0.0)
        stopWithMessage("Bulk SiO2 not set for node " + std::to_string(i) +
                        "\n  Check that bulk compositions have been set correctly.\n    "
                        ".....aborting execution.");
    if (s_.misc(misc::kTimeStepMultiplier) <= 0.0)
      stopWithMessage(
          "Time multplier of miscellaneous form cannot be <= 0.0! \n     .....aborting execution");
    if (s_.misc(misc::kMinFLiqEquilibration) <= 0.0)
      stopWithMessage(
          "Minimum liquid fraction of miscellaneous form cannot be <= 0.0! \n     .....aborting "
          "execution");
    if (const std::string m = missingProcessMessage(ctx_.processes, s_); !m.empty())
      stopWithMessage(m);
    if (s_.run.chkSkipEquilibration == 0)
      if (const std::string m = unavailableActivityModels(c_.ActivityFlags, s_.PyroxeneModel);
          !m.empty())
        stopWithMessage(m);
    if (s_.run.chkSkipTrace == 0 && !c_.BigDFlags(0))
      stopWithMessage(
          "The variable partition coefficients (BigD) are not available in this version.\n  "
          "Disable BigD through the Trace Element Menu, or check \"Skip Trace Elements\".");
    // A fresh start refuses empty trace contents when it sets up the initial state; a run that
    // goes on from a state saved without trace elements carries zeros and says so.
    if (s_.run.chkSkipTrace == 0 && !c_.InitialNeeded && !anyTraceContent(c_))
      port_.appendEvent(kNoTraceContentNote);
    // A fresh start replaces the working copy of the setup only once its initial state is
    // found, together with the output file: a setup that cannot start leaves the folder's
    // setup and history as they were.
    const bool fresh = c_.InitialNeeded || c_.NodesAtInitial != c_.NumNodes;
    if (!fresh) writeSetupOrStop();

    c_.DeltaT = 0.0;
    c_.FLiqMin2 = s_.misc(misc::kInitialLiquidFraction);
    c_.DeltaX = c_.LengthR8 / c_.NumNodes;
    if (s_.optionCompact) {
      readCompactionParameters();
      c_.DeltaT = s_.misc(misc::kTimeStepMultiplier) * (c_.DeltaX / compactionLength()) *
                  (s_.compactionTimeScaleDays() * kSecondsPerDay);
    } else if (c_.FLiq(1) > 0.0 && c_.FluxRate > 0.0) {
      // A product, not a quotient: it only sets the first display and the first iteration
      // replaces it.
      c_.DeltaT = c_.FluxRate / c_.FLiq(1) * c_.DeltaX;
    }
    showTimeStep();
    if (s_.optionInfiltrate && !s_.optionUseFirstLiq) {
      const bool composition = c_.InfiltrantOx(1) != 0.0 || c_.InfiltrantOx(13) != 0.0;
      if (!composition || c_.InfiltrantS == 0.0 || c_.InfiltrantRho == 0.0)
        stopWithMessage(
            "Infiltration parameters not all set...\n            Check 'Setup - Infiltrant' "
            "window!");
    }
    c_.Vwater = vaporVelocity(c_, s_, VaporVelocityAt::RunStart);
    showVwater(1e-8);

    log_.ErrorFlag = false;
    log_.HaltFlag = false;
    port_.setStatus("Running calculation...");

    if (!c_.InitialNeeded && c_.NodesAtInitial == c_.NumNodes) {
      // Continue the previous run from the state in memory.
      log_.open(ctx_.folder, /*forAppend=*/true);
    } else {
      c_.EqCount = 0;
      runProcess(ctx_.processes.FindInitial, "the initial state");
      if (log_.HaltFlag) {
        log_.ErrorFlag = false;  // the search was interrupted, not failed
        throw LeaveRun{};
      }
      if (log_.ErrorFlag) {
        port_.setStatus("Problem finding initial assemblage!!!");
        outcome_.message = "Problem finding initial assemblage!!!";
        throw LeaveRun{};
      }
      // A pile that compacts is found at the start, like one that grows from settling crystals:
      // its velocities are solved only for a pile of more than one node.
      if (s_.optionBottomAccum || s_.compacting()) FindPileTop(c_, s_, port_);
      c_.BottomNode = 1;
      writeSetupOrStop();
      log_.open(ctx_.folder, /*forAppend=*/false);
      if (!WriteIteration(ctx_.folder, c_, /*startNewFile=*/true, log_)) throw LeaveRun{};
      if (c_.FindInitialOnly) {
        port_.setStatus("Initial equilibrium state calculation complete!");
        outcome_.message = "Initial equilibrium state calculation complete!";
        log_.close();
        throw LeaveRun{};
      }
    }
    c_.InitialNeeded = false;
    for (int i = c_.TopNode + 1; i <= c_.NumNodes; ++i) {
      if (i < 1) continue;
      c_.Vliquid(i) = c_.Vsolid(i) = 0.0;
    }
    c_.BottomNode = 1;
    // Saves fall on multiples of the save interval, also when the run goes on from an iteration
    // saved at a halt or at the end of an earlier call.
    const int interval = toInt16(s_.misc(misc::kSaveInterval));
    nextSave_ = interval > 0 ? (c_.Iteration / interval + 1) * interval
                             : toInt16(c_.Iteration + s_.misc(misc::kSaveInterval));
    lastSaved_ = c_.Iteration;  // the state the run starts from is in the file
    lastWhole_ = c_;            // a halt in the first iteration goes back to this state
  }

  void writeSetupOrStop() {
    if (const WriteStatus w = WriteSetupFile(ctx_.folder, c_, s_); !w)
      stopWithMessage("The setup file could not be written in " + ctx_.folder.string() + ": " +
                      w.reason + "\n    .....aborting execution.");
  }

  // The run was held between two iterations, and the setup may have been edited meanwhile: what
  // the start derives from the setup is derived again, so that the next iteration uses the edits,
  // and the state a halt goes back to takes them along.
  void setupMayHaveChanged() {
    c_.FLiqMin2 = s_.misc(misc::kInitialLiquidFraction);
    if (s_.optionCompact) readCompactionParameters();
    if (s_.misc(misc::kVaporVelocity) >= 0.0) {
      c_.Vwater = vaporVelocity(c_, s_, VaporVelocityAt::RunStart);
      showVwater(1e-8);
    }
    if (lastWhole_ && !inIteration_) lastWhole_ = c_;
  }

  // --- The time step ----------------------------------------------------------------------
  void timeStepInfiltration() {
    const double mult = s_.misc(misc::kTimeStepMultiplier);
    if (s_.run.chkSkipAdvection == 0 && c_.FluxRate > 0.0) {
      double maxV = 0.0;
      for (int i = 1; i <= c_.NumNodes; ++i) {
        c_.Vliquid(i) = checkedDiv(c_.FluxRate, c_.FLiq(i));
        maxV = std::max(maxV, c_.Vliquid(i));
      }
      c_.DeltaT = maxV <= 0.0 ? mult * c_.DeltaX * c_.DeltaX / 1e-7 : mult * 0.9 * c_.DeltaX / maxV;
    } else {
      // No advection: the liquid mass diffusion criterion.
      double maxV = 0.0;
      for (int k = 1; k <= kOxides; ++k) maxV = std::max(maxV, c_.MassDiffCoef(k, k));
      c_.DeltaT = checkedDiv(mult * c_.DeltaX * c_.DeltaX, maxV);
    }
  }

  void timeStepCompaction() {
    const double mult = s_.misc(misc::kTimeStepMultiplier);
    double maxV = 0.0;
    if (c_.TopNode - c_.BottomNode < 2) {
      c_.Vliquid.redim(1, c_.NumNodes);
      c_.Vsolid.redim(1, c_.NumNodes);
      if (s_.run.chkSkipFarfield == 1 && c_.BottomCoolRate == 0.0 && c_.TopCoolRate == 0.0)
        stopWithMessage(
            "Compacting top within 1 node of bottom and \n   cooling rates = 0.0... aborting the "
            "calculation!");
    } else {
      runProcess(ctx_.processes.CompactPile, "compaction of the crystal pile");
      commonCheck("");
      for (int i = c_.BottomNode; i <= c_.TopNode; ++i)
        maxV = std::max({maxV, std::fabs(c_.Vliquid(i)), std::fabs(c_.Vsolid(i))});
    }
    if (maxV == 0.0) {
      readCompactionParameters();
      c_.DeltaT = mult * 0.9 * (s_.compactionTimeScaleDays() * kSecondsPerDay) * c_.DeltaX /
                  compactionLength();
    } else {
      c_.DeltaT = mult * 0.9 * c_.DeltaX / maxV;
    }
    if (c_.DeltaT == 0.0 && c_.BottomCoolRate != 0.0) {
      // A 5 degree step of the bottom boundary; only the bottom rate counts here.
      c_.DeltaT = mult * 5.0 / std::fabs(c_.BottomCoolRate);
    } else if (c_.DeltaT == 0.0) {
      report("Unable to set compaction time step, exiting...", log_.PauseOnError);
      log_.ErrorFlag = true;
      throw LeaveRun{};
    }
  }

  // --- One iteration ----------------------------------------------------------------------
  void iteration() {
    if (s_.misc(misc::kSaveInterval) * 1000.0 <= c_.Iteration)
      stopWithMessage(
          "Iterations exceeds 1000 x Save Interval, execution stopped!\nIncrease save interval "
          "and reload last iteration to continue.");
    if (port_.iterationTurn()) setupMayHaveChanged();
    if (log_.HaltFlag || log_.ErrorFlag) throw LeaveRun{};
    c_.Iteration = toInt16(c_.Iteration + 1.0);  // the counter is 16 bits wide
    inIteration_ = true;
    log_.append("Begin iteration: " + std::to_string(c_.Iteration));
    const int shownSave = c_.Iteration <= 5 ? c_.Iteration : nextSave_;
    port_.setLabel("lblIteration", std::to_string(c_.Iteration) + "/" + std::to_string(shownSave));
    log_.PauseOnError = s_.run.chkPauseOnError == 1;

    if (s_.optionInfiltrate && !s_.optionBottomAccum) FindPileTop(c_, s_, port_);
    if (s_.optionInfiltrate) timeStepInfiltration();
    if (s_.optionCompact) timeStepCompaction();
    if (s_.chkInflate == 1) {
      // The growth of the column may not outrun a tenth of its length per step.
      const double target = val(s_.inflationTargetText);
      const double time = c_.InflationScalars(1);
      const double rate = checkedDiv(target - c_.Length, time);
      if (0.1 * c_.LengthR8 < rate * c_.DeltaT) c_.DeltaT = checkedDiv(0.1 * c_.LengthR8, rate);
    }
    c_.TotalTime += c_.DeltaT;
    showTimeStep();
    showTime(port_, "lblTotalTime", "lblTTimeLable",
             "Total time (days):", "Total time (yrs):", c_.TotalTime);

    if (s_.run.chkSkipAdvection == 0) {
      if (s_.optionCompact) moveMarkers();
      if (s_.misc(misc::kVaporVelocity) < 0.0) {
        // A gas that crosses a set number of nodes per iteration moves with the time step.
        c_.Vwater = vaporVelocity(c_, s_, VaporVelocityAt::Iteration);
        showVwater(1e-5);
      }
      runProcess(ctx_.processes.Advect, "mass advection");
      commonCheck("  - Error in Advection subroutine");
    }
    port_.setLabel("lblPileTop", formatNumber(c_.PileTop / 100.0, "fixed"));
    port_.setLabel("lblTopNode", std::to_string(c_.TopNode));
    port_.plotResults();
    if (s_.optionInfiltrate && !s_.optionBottomAccum) FindPileTop(c_, s_, port_);

    applyBoundaryTemperatures(c_, s_);

    if (s_.run.chkSkipMassDiffusion == 0) {
      runProcess(ctx_.processes.MassDiffusion, "liquid mass diffusion");
      commonCheck("  - Error in Mass Diffusion subroutine");
      port_.plotResults();
    }
    if (s_.run.chkSkipTDiffusion == 0) {
      Array1<double> oldT(1, c_.NumNodes);
      for (int i = 1; i <= c_.NumNodes; ++i) oldT(i) = c_.Temp(i);
      runProcess(ctx_.processes.TDiffusion, "thermal diffusion");
      commonCheck("  - Error in Thermal Diffusion subroutine.");
      // The nodes' own state is entropy: the temperature change becomes an entropy change,
      // dS = Cp dT / T integrated, the same increment for the node, its liquid, its solids and
      // its gas, all with the bulk heat capacity.
      for (int i = 1; i <= c_.NumNodes; ++i) {
        const double l = checkedLog(checkedDiv(c_.Temp(i), oldT(i)));
        c_.STotal(i) += l * c_.CpBulk(i);
        c_.SLiq(i) += l * c_.CpBulk(i);
        c_.SSolid(i) += l * c_.CpBulk(i);
        c_.SWater(i) += l * c_.CpBulk(i);
      }
      port_.plotResults();
    }
    if (s_.chkInflate == 1) {
      runProcess(ctx_.processes.InflateColumn, "column inflation");
      if (c_.TopNode == c_.NumNodes) c_.PileTop = c_.DeltaX * c_.NumNodes;
      c_.LengthR8 = c_.DeltaX * c_.NumNodes;
      port_.setLabel("lblLength", formatNumber(c_.LengthR8 / 100.0, "fixed"));
      if (s_.run.chkSkipFarfield == 1) c_.PileTop = c_.LengthR8;
      c_.TopNode = std::min(static_cast<int>(intFloor(c_.PileTop / c_.DeltaX)) + 1, c_.NumNodes);
      port_.setLabel("lblTopNode", std::to_string(c_.TopNode));
    }
    PGradient(c_);
    if (s_.optionMix && !s_.OptionDrip && c_.TopNode < c_.NumNodes) {
      runProcess(ctx_.processes.MixMagma, "magma mixing");
      commonCheck("  - Error in MixMagma subroutine.");
      port_.plotResults();
      PGradient(c_);
    }
    ++c_.EqCount;
    if (c_.EqCount >= s_.misc(misc::kEquilibrationEvery) && s_.run.chkSkipEquilibration == 0) {
      c_.EqCount = 0;
      runProcess(ctx_.processes.Equilibrate, "equilibration");
      commonCheck("  - Error in Equilibrate subroutine.");
    }
    if (s_.run.chkSkipTrace == 0) {
      runProcess(ctx_.processes.UpdateBulk, "bulk bookkeeping");
      runProcess(ctx_.processes.UpdateTrace, "trace elements");
      commonCheck("  - Error in UpdateTrace subroutine.");
    }
    port_.plotResults();

    // The first five iterations are always saved.
    if (c_.Iteration >= nextSave_ || c_.Iteration <= 5) {
      if (!WriteIteration(ctx_.folder, c_, /*startNewFile=*/false, log_)) throw LeaveRun{};
      lastSaved_ = c_.Iteration;
      port_.setLabel("txtbxLoadIteration", std::to_string(c_.Iteration));
      log_.append("  Saved iteration: " + std::to_string(c_.Iteration));
      if (c_.Iteration >= nextSave_) nextSave_ = toInt16(nextSave_ + s_.misc(misc::kSaveInterval));
    }
    if (c_.SnapShotRequested) {
      WriteSnapshot(ctx_.folder, c_);
      report("Snapshot saved as file: " + std::to_string(c_.Iteration) + ".tab", false);
      c_.SnapShotRequested = false;
    }
    // The iteration is whole: a halt from here on keeps it.
    inIteration_ = false;
    lastWhole_ = c_;
    if (c_.Iteration == lastSaved_) {
      turn();
      if (log_.HaltFlag) throw LeaveRun{};
      port_.plotResults();
    }
  }

  // The Lagrangian markers of the solid move with the solid velocity.
  void moveMarkers() {
    const int top = static_cast<int>(intFloor(c_.InitTop / c_.DeltaX));
    if (top >= 1) c_.InitTop += c_.DeltaT * c_.Vsolid(top);
    for (int i = 1; i <= c_.NumNodes; ++i) {
      if (!(c_.GridPoint(i) > 0.0)) continue;
      const int j =
          std::clamp(static_cast<int>(intFloor(c_.GridPoint(i) / c_.DeltaX)) + 1, 1, c_.NumNodes);
      const double vLow = j == 1 ? 0.0 : c_.Vsolid(j - 1);
      c_.GridPoint(i) +=
          c_.DeltaT *
          ((c_.GridPoint(i) - c_.DeltaX * (j - 1)) / c_.DeltaX * (c_.Vsolid(j) - vLow) + vLow);
    }
  }

  void body() {
    start();
    int done = 0;
    while (ctx_.iterationLimit < 0 || done < ctx_.iterationLimit) {
      iteration();
      ++done;
    }
  }

  RunContext& ctx_;
  Column& c_;
  Settings& s_;
  EventLog& log_;
  Port& port_;
  RunOutcome outcome_;
  int nextSave_ = 0;
  int lastSaved_ = 0;                // the iteration of the last block in the output file
  bool inIteration_ = false;         // an iteration has begun and not yet ended
  std::optional<Column> lastWhole_;  // the column at the end of the last whole iteration
};

}  // namespace

RunOutcome CXControl(RunContext& ctx) {
  return Driver(ctx).run();
}

bool MakeCurrentInitial(RunContext& ctx) {
  Column& c = ctx.column;
  const bool ok = runTrapped(ctx.log, subroutineSuffix("MakeCurrentInitial"), [&] {
    c.Iteration = 0;
    c.TotalTime = 0.0;
    for (int i = c.Temp.lo(); i <= c.Temp.hi(); ++i) c.InitT(i) = c.Temp(i);
    for (int i = 1; i <= c.NumNodes; ++i) {
      for (int j = 1; j <= kOxides; ++j) c.InitBulkOx(i, j) = c.BulkOx(i, j);
      for (int t = 1; t <= kTraces; ++t) c.InitBulkTrace(i, t) = c.TraceBulk(i, t);
    }
    refreshInitialProfiles(c);
    if (!WriteIteration(ctx.folder, c, /*startNewFile=*/true, ctx.log))
      raiseFault(kFaultInvalidCall);
    ctx.log.open(ctx.folder, /*forAppend=*/false);
    if (!WriteSetup(ctx.folder, c, ctx.settings)) raiseFault(kFaultInvalidCall);
    c.InitialNeeded = false;
    c.NodesAtInitial = c.NumNodes;
  });
  ctx.port.showMessage(ok ? "Current state has been now set as the initial state of the system!\n"
                            "   You may want to save this under a unique file name!"
                          : "Problem setting the current state as new inital state of system!!!");
  return ok;
}

RunOutcome CmdStart(RunContext& ctx) {
  ctx.log.ErrorFlag = false;
  ctx.log.HaltFlag = false;
  ctx.port.doEvents();
  RunOutcome outcome = CXControl(ctx);
  ctx.port.doEvents();
  ctx.port.setStatus(ctx.log.HaltFlag ? "Calculation Aborted." : "");
  ctx.log.close();
  ctx.port.setModuleId("Idle");
  ctx.log.PauseOnError = true;
  ctx.log.ErrorFlag = false;
  ctx.log.HaltFlag = false;
  return outcome;
}

}  // namespace cx
