#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Velmora::KorLib::Dsp::Fir {

/// One row of tests/golden/equiripple.csv: what is asked of remez(), and what it should find.
struct EquirippleDesign {
    std::string name;
    std::int32_t type;
    std::int32_t tapCount;
    std::vector<double> bands;
    std::vector<double> gains;
    std::vector<double> weights;
    double error;             ///< least greatest weighted error on the grid
    std::vector<double> taps; ///< empty if the source has no such design
};

/// @throws std::runtime_error  the file is missing or not what it should be
std::vector<EquirippleDesign> readEquirippleDesigns();

} // namespace Velmora::KorLib::Dsp::Fir
