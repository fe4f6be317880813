// Names of the slots of the two process-wide arrays. Integers are stored as doubles and truncated when read.
#pragma once

namespace vyr {

/// Slots of mf_ctrl, the settings in force.
enum CtrlSlot {
    CTRL_ARCH = 1,
    CTRL_FLAGS = 5,             ///< low byte: messages and report body; the FLAG_ bits below
    CTRL_TYPE = 11,             ///< matrix type, a TYPE_ value
    CTRL_STRATEGY_S = 12,       ///< reported only
    CTRL_PIVOTING = 13,         ///< pivoting kind, printed by the console summary
    CTRL_STRATEGY_F = 14,       ///< reported only
    CTRL_RESERVED_15 = 15,      ///< stored only
    CTRL_SCALING = 17,          ///< 0 none, 1 right-hand side, 2 solution, 3 both
    CTRL_RESERVED_19 = 19,      ///< stored only
    CTRL_CORE_MODE = 20,        ///< a CORE_ value
    CTRL_RESERVED_21 = 21,      ///< stored only
    CTRL_REFINEMENT_LIMIT = 23, ///< largest number of accepted solutions; 1: no refinement
    CTRL_MEMORY_ESTIMATE =
        30,          ///< bytes; accumulated by the analysis, reserve of the out-of-core buffer check
    CTRL_RELAX = 31, ///< reported only
    CTRL_PIVOT_THRESHOLD = 32, ///< reported only
    CTRL_RESERVED_33 = 33,     ///< stored only
    CTRL_BLOCK_SIZE = 36,      ///< reported only
    CTRL_PIVOT_MIN = 40,       ///< smallest acceptable pivot of L L^T
    CTRL_GROWTH_LIMIT = 41,    ///< largest allowed pivot ratio; checked when above 1
    CTRL_BLOCKED = 42,         ///< 1: graph compression and the blocked update variant
    CTRL_COUNT = 48
};

/// Slots of mf_info, status and statistics.
enum InfoSlot {
    INFO_STATUS = 0,
    INFO_ROWS = 1,
    INFO_COLS = 2,
    INFO_NNZ = 3,
    INFO_SYM_ORIGIN = 4,
    INFO_SYM = 5,
    INFO_CONDITION = 6,
    INFO_GROWTH = 7,         ///< stays 0
    INFO_MEM_SYM = 13,       ///< 10^6 bytes held after the analysis
    INFO_PEAK_SYM = 14,      ///< 10^6 bytes, peak up to the end of the analysis
    INFO_T_SYM = 15,         ///< seconds, whole symbolic step
    INFO_T_SYMFAC = 16,      ///< seconds, symbolic step without the ordering
    INFO_DENSE_BLOCKS = 20,  ///< stays 0
    INFO_NODES = 21,         ///< number of supernodes
    INFO_MAX_WIDTH = 22,     ///< largest supernode width, a running maximum
    INFO_NZLU_SYM = 28,      ///< doubles in the factor
    INFO_ZERO_DIAGONAL = 35, ///< stays 0
    INFO_NO_DIAGONAL = 36,   ///< columns without a stored diagonal entry
    INFO_NO_DIAGONAL_COPY = 37,
    INFO_MAX_LEVEL = 38,      ///< stays 0
    INFO_FACTORIZATIONS = 41, ///< numeric factorizations done on the current solver
    INFO_MEM = 42,            ///< 10^6 bytes held after the numeric step
    INFO_FLOPS = 43,          ///< operations of the last factorization
    INFO_NZLU = 45,
    INFO_FAILED_PIVOTS = 51, ///< stays 0
    INFO_VALUE_MAX = 52,
    INFO_VALUE_MIN = 53,     ///< smallest non-zero absolute input value
    INFO_PEAK = 57,          ///< 10^6 bytes, peak up to the end of the numeric step
    INFO_NUMERIC_START = 64, ///< milliseconds, clock reading
    INFO_T_NUM = 65,         ///< seconds
    INFO_ERROR = 66,         ///< stays 0
    INFO_FAILED_COLUMN = 68, ///< 0-based, pivot order
    INFO_DIAGONAL_MIN = 69,
    INFO_DIAGONAL_MAX = 70,
    INFO_T_FILE_WRITE = 73, ///< milliseconds spent writing factor files
    INFO_T_ASSEMBLY = 75,   ///< seconds spent adding updates, summed over threads
    INFO_T_SOLVE = 85,      ///< seconds, last solve
    INFO_T_CONDITION = 86,  ///< stays 0
    INFO_T_MAPPED_IO = 87,  ///< milliseconds
    INFO_SOLID = 88,        ///< stays 0
    INFO_COUNT = 90
};

/// Bits of CTRL_FLAGS above the low byte.
enum Flag { FLAG_REPORT_AT_CLEAR = 0x10000, FLAG_CHECK_VALUES = 0x20000 };

} // namespace vyr
