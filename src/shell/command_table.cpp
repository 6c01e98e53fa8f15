#include "shell/command_table.h"

#include <cstring>

#include "analysis/analysis_commands.h"
#include "eval/eval_commands.h"
#include "setup/setup_commands.h"
#include "shell/link/link_commands.h"
#include "shell/shell_commands.h"
#include "solver/forget_commands.h"
#include "solver/lock_commands.h"
#include "solver/solver_commands.h"
#include "tree/tree_commands.h"

// Later subsystems add their rows here. The order is the protocol's own;
// help sorts the names, so it does not matter to clients.
const CommandEntry CommandTable[] = {
    {"is_ready", CmdIsReady, 1},
    {"solver_time", CmdSolverTime, 1},
    {"show_hand_order", CmdShowHandOrder, 1},
    {"show_settings", CmdShowSettings, 1},
    {"show_tree_params", CmdShowTreeParams, 1},
    {"set_threads", CmdSetThreads, 2},
    {"set_info_freq", CmdSetInfoFreq, 2},
    {"ai6_set_threads", CmdSetThreads, 2},
    {"set_recalc_accuracy", CmdSetRecalcAccuracy, 4},
    {"set_isomorphism", CmdSetIsomorphism, 3},
    {"skip_if_done", CmdSkipIfDone, 3},
    {"is_tree_present", CmdIsTreePresent, 1},
    {"go", CmdGo, -1},
    {"stop", CmdStop, 1},
    {"load_script", CmdLoadScript, 2},
    {"set_range", CmdSetRange, 1328},
    {"set_board", CmdSetBoard, -1},
    {"set_pot", CmdSetPot, 4},
    {"clear_lines", CmdClearLines, 1},
    {"free_schematic_tree", CmdClearLines, 1},
    {"add_line", CmdAddLine, -1},
    {"remove_line", CmdRemoveLine, -1},
    {"force_line", CmdForceLine, -1},
    {"cut_line", CmdCutLine, 2},
    {"build_tree", CmdBuildTree, 1},
    {"free_tree", CmdFreeTree, 1},
    {"load_tree", CmdLoadTree, 2},
    {"dump_tree", CmdDumpTree, -1},
    {"show_node", CmdShowNode, 2},
    {"show_children", CmdShowChildren, 2},
    {"show_all_lines", CmdShowAllLines, 1},
    {"show_strategy", CmdShowStrategy, 2},
    {"show_strategy_pp", CmdShowStrategyPp, 2},
    {"show_locked_combos", CmdShowLockedCombos, 2},
    {"lock_node", CmdLockNode, 2},
    {"unlock_node", CmdUnlockNode, 2},
    {"set_strategy", CmdSetStrategy, 1329},
    {"combo_lock_node", CmdComboLockNode, 1328},
    {"solve_partial", CmdSolvePartial, 2},
    {"forget", CmdForget, 2},
    {"rebuild_forgotten_streets", CmdRebuildForgottenStreets, 1},
    {"rebuild_all", CmdRebuildForgottenStreets, 1},
    {"solve_all_splits", CmdSolveAllSplits, 2},
    {"explo_partial", CmdExploPartial, 2},
    {"show_range", CmdShowRange, -1},
    {"show_probs", CmdShowProbs, 2},
    {"calc_results", CmdCalcResults, 1},
    {"calc_ev", CmdCalcEv, 3},
    {"calc_ev_pp", CmdCalcEvPp, 3},
    {"calc_ev_line", CmdCalcEvLine, 3},
    {"calc_line_freq", CmdCalcLineFreq, 2},
    {"calc_global_freq", CmdCalcGlobalFreq, 2},
    {"calc_eq", CmdCalcEq, 2},
    {"calc_eq_pp", CmdCalcEqPp, 2},
    {"calc_eq_node", CmdCalcEqNode, 3},
    {"stdoutredi", CmdStdoutRedi, 2},
    {"stdoutredi_append", CmdStdoutRediAppend, 2},
    {"stdoutback", CmdStdoutBack, 1},
    {"wait_for_solver", CmdWaitForSolver, 1},
    {"show_memory", CmdShowMemory, 1},
    {"estimate_schematic_tree", CmdEstimateSchematicTree, 1},
    {"node_count", CmdNodeCount, 1},
    {"show_effective_stack", CmdShowEffectiveStack, 1},
    {"set_eff_stack", CmdSetEffStack, 2},
    {"set_rake", CmdSetRake, 3},
    {"set_ev_boost", CmdSetEvBoost, 3},
    {"set_accuracy", CmdSetAccuracy, -1},
    {"ai6_set_compression", CmdSetCompression, 2},
    {"set_compression", CmdSetCompression, 2},
    {"ai6_get_actual_compression", CmdGetActualCompression, 1},
    {"get_actual_compression", CmdGetActualCompression, 1},
    {"ai6_get_instruction_set", CmdGetInstructionSet, 1},
    {"get_instruction_set", CmdGetInstructionSet, 1},
    {"set_scheduler", CmdSetScheduler, 2},
    {"enable_avx512", CmdEnableAvx512, 2},
    {"enable_river_strategy", CmdEnableRiverStrategy, 2},
    {"enable_ui_notifications", CmdEnableUiNotifications, 2},
    {"sleep", CmdSleep, 2},
    {"take_a_break", CmdTakeABreak, 2},
    {"repeat", CmdRepeat, -1},
    {"echo", CmdEcho, -1},
    {"ignore_mem_check", CmdIgnoreMemCheck, 2},
    {"connect", CmdConnect, -1},
    {"disconnect", CmdDisconnect, 1},
    {"show_cpu_info", CmdShowCpuInfo, 1},
    {"reset_tree_info", CmdResetTreeInfo, 1},
    {"add_info_line", CmdAddInfoLine, 2},
    {"show_tree_info", CmdShowTreeInfo, 1},
    {"set_simd_level", CmdSetSimdLevel, 2},
    {"set_precision", CmdSetPrecision, 2},
    {"set_must_use_hole_cards", CmdSetMustUseHoleCards, 2},
    {"set_hand_type_order", CmdSetHandTypeOrder, 10},
    {"set_low_card", CmdSetLowCard, 2},
    {"eval_hand", CmdEvalHand, 2},
    {"show_category_names", CmdShowCategoryNames, 1},
    {"show_categories", CmdShowCategories, -1},
    {"enable_adaptive_precision", CmdEnableAdaptivePrecision, 2},
    {"get_value", CmdGetValue, 2},
    {"get_all_values", CmdGetAllValues, 1},
    {"set_value", CmdSetValue, 3},
    {"default_value", CmdDefaultValue, 3},
    {"verify_value", CmdVerifyValue, -1},
    {"help", CmdHelp, 1},
};

const size_t CommandTableSize = sizeof CommandTable / sizeof CommandTable[0];

const CommandEntry* FindCommand(std::string_view name) {
  for (size_t i = 0; i < CommandTableSize; ++i)
    if (name == CommandTable[i].name) return &CommandTable[i];
  return nullptr;
}
