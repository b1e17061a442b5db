#include "device/device_models.h"

#include <array>

namespace pxa {

namespace {

struct Model {
  enum class Match : std::uint8_t { Whole, Prefix } match;
  std::string_view text;
  std::uint32_t code;
};

using enum Model::Match;

/// The first row that matches decides, so a longer prefix stands before a shorter one.
constexpr std::array kModels = {
    Model{Whole, "iFPGA", 57},      Model{Whole, "iPhone1,1", 5},   Model{Whole, "iPhone1,2", 6},
    Model{Prefix, "iPhone2", 7},    Model{Prefix, "iPhone3", 8},    Model{Prefix, "iPhone4", 9},
    Model{Prefix, "iPhone5,1", 10}, Model{Prefix, "iPhone5,2", 10}, Model{Prefix, "iPhone5,3", 11},
    Model{Prefix, "iPhone5,4", 11}, Model{Prefix, "iPhone6", 12},   Model{Prefix, "iPhone7,1", 13},
    Model{Prefix, "iPhone7,2", 14}, Model{Prefix, "iPhone8,1", 15}, Model{Prefix, "iPhone8,2", 16},
    Model{Prefix, "iPod1", 17},     Model{Prefix, "iPod2", 18},     Model{Prefix, "iPod3", 19},
    Model{Prefix, "iPod4", 20},     Model{Prefix, "iPod5", 21},     Model{Prefix, "iPod7", 22},
    Model{Prefix, "iPad1", 23},     Model{Prefix, "iPad2,1", 24},   Model{Prefix, "iPad2,2", 25},
    Model{Prefix, "iPad2,3", 26},   Model{Prefix, "iPad2,4", 27},   Model{Prefix, "iPad3,1", 31},
    Model{Prefix, "iPad3,2", 32},   Model{Prefix, "iPad3,3", 33},   Model{Prefix, "iPad3,4", 34},
    Model{Prefix, "iPad3,5", 35},   Model{Prefix, "iPad3,6", 36},   Model{Prefix, "iPad4,1", 37},
    Model{Prefix, "iPad4,2", 38},   Model{Prefix, "iPad4,3", 39},   Model{Prefix, "iPad4,4", 40},
    Model{Prefix, "iPad4,5", 41},   Model{Prefix, "iPad4,6", 42},   Model{Prefix, "iPad4,7", 43},
    Model{Prefix, "iPad4,8", 44},   Model{Prefix, "iPad4,9", 45},   Model{Prefix, "iPad5,1", 46},
    Model{Prefix, "iPad5,2", 47},   Model{Prefix, "iPad6,7", 48},   Model{Prefix, "iPad6,8", 49},
    Model{Prefix, "AppleTV2", 50},  Model{Prefix, "AppleTV3", 51},  Model{Prefix, "iPhone", 53},
    Model{Prefix, "iPod", 54},      Model{Prefix, "iPad", 55},      Model{Prefix, "AppleTV", 56},
};

struct Name {
  std::uint32_t code;
  std::string_view text;
};

constexpr std::array kNames = {
    Name{1, "iPhone Simulator"},
    Name{2, "iPhone Simulator"},
    Name{3, "iPad Simulator"},
    Name{4, "Apple TV Simulator"},
    Name{5, "iPhone (1st)"},
    Name{6, "iPhone 3G"},
    Name{7, "iPhone 3GS"},
    Name{8, "iPhone 4"},
    Name{9, "iPhone 4S"},
    Name{10, "iPhone 5"},
    Name{11, "iPhone 5c"},
    Name{12, "iPhone 5s"},
    Name{13, "iPhone 6 Plus"},
    Name{14, "iPhone 6"},
    Name{15, "iPhone 6s"},
    Name{16, "iPhone 6s Plush"},
    Name{17, "iPod touch 1st Gen"},
    Name{18, "iPod touch 2nd Gen"},
    Name{19, "iPod touch 3rd Gen"},
    Name{20, "iPod touch 4th Gen"},
    Name{23, "iPad 1st Gen"},
    Name{24, "iPad 2"},
    Name{25, "iPad 2"},
    Name{26, "iPad 2"},
    Name{27, "iPad 2"},
    Name{31, "iPad 3rd Gen"},
    Name{32, "iPad 3rd Gen"},
    Name{33, "iPad 3rd Gen"},
    Name{34, "iPad 4st Gen"},
    Name{35, "iPad 4st Gen"},
    Name{36, "iPad 4st Gen"},
    Name{37, "iPad Air"},
    Name{38, "iPad Air"},
    Name{39, "iPad Air"},
    Name{40, "iPad mini Retina"},
    Name{41, "iPad mini Retina"},
    Name{42, "iPad mini 2G"},
    Name{43, "iPad mini 3"},
    Name{44, "iPad mini 3"},
    Name{45, "iPad mini 3"},
    Name{46, "iPad mini 4"},
    Name{47, "iPad mini 4"},
    Name{48, "iPad Pro"},
    Name{49, "iPad Pro"},
    Name{50, "Apple TV 2G"},
    Name{51, "Apple TV 3G"},
    Name{52, "Apple TV 4G"},
    Name{53, "Unknown iPhone"},
    Name{54, "Unknown iPod"},
    Name{55, "Unknown iPad"},
    Name{56, "Unknown Apple TV"},
    Name{57, "iFPGA"},
};

bool matches(const Model& model, std::string_view machine) {
  return model.match == Whole ? machine == model.text : machine.starts_with(model.text);
}

}  // namespace

bool isSimulatorMachine(std::string_view machine) {
  return machine.ends_with("86") || machine == "x86_64";
}

std::uint32_t deviceModelCode(std::string_view machine) {
  for (const Model& model : kModels)
    if (matches(model, machine)) return model.code;
  return 0;
}

std::string_view deviceModelName(std::uint32_t code) {
  for (const Name& name : kNames)
    if (name.code == code) return name.text;
  return "Unknown iOS device";
}

}  // namespace pxa
