// The fixed orderings of the column: oxides, trace elements, phases.  These orders are part of
// every file and every loop; the numbering starts at 1.
#pragma once

#include <array>
#include <string_view>

namespace cx {

inline constexpr int kOxides = 15;
inline constexpr int kTraces = 40;
inline constexpr int kPhases = 38;
inline constexpr int kMaxNodes = 300;    // the setup tables hold at most 300 nodes
inline constexpr int kXstableSize = 60;  // entries 1..60 of the minimizer's state vector
inline constexpr int kPhaseListSize = 15;
inline constexpr int kPhaseOrderSize = 10;
inline constexpr int kSolidSolutions = 13;  // phases 1..13 report a composition in PhaseX
inline constexpr int kGasPhase = 29;

// Index 0 is unused so that OxideNames[1] is "SiO2", as everywhere in the numerics.
inline constexpr std::array<std::string_view, kOxides + 1> OxideNames = {
    "",    "SiO2", "TiO2", "Al2O3", "Fe2O3", "Cr2O3", "FeO", "MnO",
    "MgO", "CaO",  "Na2O", "K2O",   "P2O5",  "H2O",   "CO2", "S"};

// The same order as the mass diffusion header of the setup file names it.
inline constexpr std::array<std::string_view, kOxides + 1> DiffusionHeaderNames = {
    "", "Si", "Ti", "Al", "Fe+3", "Cr", "Fe+2", "Mn", "Mg", "Ca", "Na", "K", "P", "H2O", "CO2", "S"};

inline constexpr std::array<std::string_view, kTraces + 1> TraceNames = {
    "",   "Cl", "F",  "Sc", "Ti", "V",  "Cr", "Co", "Ni", "Zn", "Rb", "Sr", "Y",  "Zr",
    "Nb", "Cs", "Ba", "La", "Ce", "Nd", "Sm", "Eu", "Gd", "Tb", "Dy", "Ho", "Er", "Tm",
    "Yb", "Lu", "Hf", "Ta", "Pb", "Th", "U",  "Re", "Os", "Ir", "Pt", "Au", "Cu"};

// Phase names are fixed 15-character texts in the files; these are the names without padding.
inline constexpr std::array<std::string_view, kPhases + 1> PhaseNames = {
    "",
    "Olivine",        "Plagioclase",     "AlkaliFeldspar", "LowCaPyroxene", "HiCaPyroxene",
    "Rhomb Oxide",    "Spinel",          "NephelineSS",    "LeuciteSS",     "Melilite",
    "Garnet",         "Hem-Ilm",         "Mt-Usp",         "Nephaline(pure)", "Leucite (pure)",
    "Silica",         "Ilmenite",        "Biotite",        "Cummingtonite", "Aenigmatite",
    "Rutile",         "Sphene",          "Kalsilite",      "Whitlockite",   "Apatite",
    "Corundum",       "Perovskite",      "Muscovite",      "Gas",           "Troilite",
    "Pyrrhotite",     "Pyrite",          "Sulfide liquid", "Graphite",      "Calcite",
    "Dolomite",       "Anhydrite",       "Liquid2"};

// Molecular weights of the oxides (g/mol), for Mg numbers and masses.
inline constexpr std::array<double, kOxides + 1> OxideMW = {
    0.0,     60.0843, 79.8788, 101.9612, 159.6922, 151.9902, 71.8464, 70.9374,
    40.3044, 56.0794, 61.9789, 94.196,   141.9445, 18.0152,  44.01,   32.057};

// Abbreviations of the phases as the tables load them (4 and 16 change with the polymorph found).
inline constexpr std::array<std::string_view, kPhases + 1> PhaseAbbrevDefault = {
    "",    "ol",  "pl",  "af",  "opx", "cpx", "rox", "sp", "ne", "le",  "mel", "gnt", "rox",
    "mt",  "ne",  "le",  "qtz", "ilm", "bt",  "hb",  "ae", "rut", "sph", "kal", "wkt", "ap",
    "cor", "per", "mus", "gas", "tro", "po",  "py",  "ISL", "C",  "cc",  "dol", "anh", "lq2"};

}  // namespace cx
