#include "equiripple_designs.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace Velmora::KorLib::Dsp::Fir {
namespace {

std::vector<double> numbers(const std::string& text)
{
    std::istringstream stream(text);
    std::vector<double> values;
    for (std::string word; stream >> word;) values.push_back(std::stod(word));
    return values;
}

std::vector<std::string> fieldsOf(const std::string& line)
{
    std::istringstream stream(line);
    std::vector<std::string> fields;
    for (std::string field; std::getline(stream, field, ',');) fields.push_back(field);
    fields.resize(8); // an empty last field leaves no trace
    return fields;
}

} // namespace

std::vector<EquirippleDesign> readEquirippleDesigns()
{
    std::ifstream file(HARMOTRACK_GOLDEN_DIR "/equiripple.csv");
    std::vector<EquirippleDesign> designs;
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line[0] == '#' || line.starts_with("name,")) continue;
        const std::vector<std::string> fields = fieldsOf(line);
        designs.push_back({.name = fields[0],
                           .type = std::stoi(fields[1]),
                           .tapCount = std::stoi(fields[2]),
                           .bands = numbers(fields[3]),
                           .gains = numbers(fields[4]),
                           .weights = numbers(fields[5]),
                           .error = std::stod(fields[6]),
                           .taps = numbers(fields[7])});
    }
    if (designs.empty()) throw std::runtime_error("no designs in equiripple.csv");
    return designs;
}

} // namespace Velmora::KorLib::Dsp::Fir
