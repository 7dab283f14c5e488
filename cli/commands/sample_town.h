// The towns of sample rounds: streets that cross, houses along them, and their addresses.
#pragma once
#include "cli/commands/sample_random.h"
#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace tramo::cli::sample {

/// Who uses the water.
enum class User : std::uint8_t { House, Flat, HolidayHome, Residence, Shop, Workshop, School, Farm };

/// Where a meter is. Texts are in the format's narrow encoding.
struct Home {
    User user;
    std::string_view address;
    std::int64_t latitude, longitude;  ///< in 10^-8 degrees
    std::int32_t altitude;             ///< in decimetres
    bool beginsStreet;                 ///< it is the first one of its street
    std::uint32_t street;              ///< of its block, which has 4
};

/// The part of a town that is one round. It is walked block by block from its middle, street by street.
class Quarter {
public:
    /// A quarter has at least so many meters.
    static constexpr std::uint32_t meters = 1000;

    Quarter(std::uint64_t chosenSeed, std::uint32_t number);

    /// A town has 25 quarters. No two of 400 towns have the same name, and no two quarters of a town.
    std::string town() const;
    std::string_view name() const;

    /// The next meter on the way; call it at most `meters` times. No two meters of a town have the same address, and among
    /// the first 75,000 meters of a file no two have the same house and street. No two meters of the first 1000 quarters
    /// have the same coordinates. Valid until the next call.
    const Home& next();

private:
    struct Place {
        std::int32_t x, y;
    };
    enum class Side { Odd, Even };
    static Place spiral(std::uint32_t step);

    void enterBlock();
    void enterStreet();
    void enterHouse();
    void putAddress(Side side, std::uint32_t row, bool isBis);
    std::uint32_t numberOf(Side side, std::uint32_t row) const;
    Place crossing(std::int32_t column, std::int32_t row) const;
    void locate();

    const std::uint64_t seed;
    const std::uint32_t quarter;  ///< of the file
    Place townPlace{};            ///< in decimetres to the east and north, as all places but `corner`
    std::int32_t cosine, sine;    ///< of the angle by which the town is turned, in 1/1024

    std::uint32_t walked = 0;  ///< meters handed out
    std::uint32_t block = 0, parks = 0;
    Place corner{};  ///< of the block, in crossings of the town
    std::uint32_t street = 0;
    std::string streetName{};
    std::array<Place, 3> corners{};  ///< of the street
    bool goesEast = false, zigzags = false;
    std::uint32_t housesBetweenCorners = 0, firstNumber = 0, numberStep = 0;
    std::uint32_t house = 0;  ///< of the street, as it is walked
    Place building{};
    std::string buildingAddress{};
    std::uint32_t flat = 0, flats = 0;
    std::string address{};
    Home home{};
};

}  // namespace tramo::cli::sample
