#include <cstdint>
#include <gtest/gtest.h>
#include <iterator>
#include <string>

#include <pxalog/VeskDeviceInfo.h>

#include "device/device_models.h"
#include "support/FakePlatform.h"
#include "support/values.h"

namespace pxa {
namespace {

/// The display name of every code up to 60.
constexpr const char* kNames[] = {
    "Unknown iOS device",  // 0
    "iPhone Simulator",
    "iPhone Simulator",
    "iPad Simulator",
    "Apple TV Simulator",
    "iPhone (1st)",
    "iPhone 3G",
    "iPhone 3GS",
    "iPhone 4",
    "iPhone 4S",
    "iPhone 5",  // 10
    "iPhone 5c",
    "iPhone 5s",
    "iPhone 6 Plus",
    "iPhone 6",
    "iPhone 6s",
    "iPhone 6s Plush",
    "iPod touch 1st Gen",
    "iPod touch 2nd Gen",
    "iPod touch 3rd Gen",
    "iPod touch 4th Gen",  // 20
    "Unknown iOS device",
    "Unknown iOS device",
    "iPad 1st Gen",
    "iPad 2",
    "iPad 2",
    "iPad 2",
    "iPad 2",
    "Unknown iOS device",
    "Unknown iOS device",
    "Unknown iOS device",  // 30
    "iPad 3rd Gen",
    "iPad 3rd Gen",
    "iPad 3rd Gen",
    "iPad 4st Gen",
    "iPad 4st Gen",
    "iPad 4st Gen",
    "iPad Air",
    "iPad Air",
    "iPad Air",
    "iPad mini Retina",  // 40
    "iPad mini Retina",
    "iPad mini 2G",
    "iPad mini 3",
    "iPad mini 3",
    "iPad mini 3",
    "iPad mini 4",
    "iPad mini 4",
    "iPad Pro",
    "iPad Pro",
    "Apple TV 2G",  // 50
    "Apple TV 3G",
    "Apple TV 4G",
    "Unknown iPhone",
    "Unknown iPod",
    "Unknown iPad",
    "Unknown Apple TV",
    "iFPGA",
    "Unknown iOS device",
    "Unknown iOS device",
    "Unknown iOS device",  // 60
};

TEST(DeviceModelName, IsTheNameOfTheCode) {
  for (std::uint32_t code = 0; code < std::size(kNames); ++code)
    EXPECT_EQ(deviceModelName(code), kNames[code]) << code;
}

TEST(DeviceModelName, IsUnknownForEveryOtherCode) {
  for (const std::uint32_t code : {61U, 100U, 255U, 256U + 5U, 65536U + 5U, 0x80000000U, 0xFFFFFFFFU})
    EXPECT_EQ(deviceModelName(code), "Unknown iOS device") << code;
}

class DeviceInfo : public testing::Test {
 protected:
  /// Checks the code and the display name of a machine.
  void expectModel(const String& machine, std::uint32_t code) {
    facts_.model = machine;
    EXPECT_EQ(info_.platformType(), code) << test::text(machine);
    EXPECT_EQ(info_.platformString(), kNames[code]) << test::text(machine);
  }

  test::FakeDeviceFacts& facts_ = test::FakePlatform::install().device;
  VeskDeviceInfo& info_ = VeskDeviceInfo::getInstance();
};

struct Model {
  const char* machine;
  std::uint32_t code;
};

constexpr Model kWholeModels[] = {{"iFPGA", 57}, {"iPhone1,1", 5}, {"iPhone1,2", 6}};

/// Models of every machine whose name starts so, unless an earlier row has it.
constexpr Model kFamilies[] = {
    {"iPhone2", 7},    {"iPhone3", 8},    {"iPhone4", 9},   {"iPhone5,1", 10}, {"iPhone5,2", 10},
    {"iPhone5,3", 11}, {"iPhone5,4", 11}, {"iPhone6", 12},  {"iPhone7,1", 13}, {"iPhone7,2", 14},
    {"iPhone8,1", 15}, {"iPhone8,2", 16}, {"iPod1", 17},    {"iPod2", 18},     {"iPod3", 19},
    {"iPod4", 20},     {"iPod5", 21},     {"iPod7", 22},    {"iPad1", 23},     {"iPad2,1", 24},
    {"iPad2,2", 25},   {"iPad2,3", 26},   {"iPad2,4", 27},  {"iPad3,1", 31},   {"iPad3,2", 32},
    {"iPad3,3", 33},   {"iPad3,4", 34},   {"iPad3,5", 35},  {"iPad3,6", 36},   {"iPad4,1", 37},
    {"iPad4,2", 38},   {"iPad4,3", 39},   {"iPad4,4", 40},  {"iPad4,5", 41},   {"iPad4,6", 42},
    {"iPad4,7", 43},   {"iPad4,8", 44},   {"iPad4,9", 45},  {"iPad5,1", 46},   {"iPad5,2", 47},
    {"iPad6,7", 48},   {"iPad6,8", 49},   {"AppleTV2", 50}, {"AppleTV3", 51},  {"iPhone", 53},
    {"iPod", 54},      {"iPad", 55},      {"AppleTV", 56},
};

TEST_F(DeviceInfo, KnowsEveryModel) {
  for (const Model& model : kWholeModels) expectModel(model.machine, model.code);
  for (const Model& model : kFamilies) expectModel(model.machine, model.code);
}

TEST_F(DeviceInfo, KnowsEveryMachineOfAFamily) {
  for (const Model& model : kFamilies)
    for (const char* rest : {"z", "0", ",", ",10", " ", ",86", "x86_64"})
      expectModel(std::string(model.machine) + rest, model.code);
}

TEST_F(DeviceInfo, TakesTheFirstRowThatFits) {
  for (const Model& model : {
           Model{"iPhone20,1", 7},
           {"iPhone30", 8},
           {"iPhone5,10", 10},
           {"iPhone60,1", 12},
           {"iPhone7,10", 13},
           {"iPhone8,20", 16},
           {"iPod10,1", 17},
           {"iPod5,1", 21},
           {"iPod7,1", 22},
           {"iPad11,1", 23},
           {"iPad2,10", 24},
           {"iPad6,70", 48},
           {"AppleTV20,1", 50},
           {"AppleTV3,2", 51},
       })
    expectModel(model.machine, model.code);
}

TEST_F(DeviceInfo, KnowsOnlyTheFamilyOfAModelWithoutARow) {
  for (const Model& model : {
           Model{"iPhone1", 53}, {"iPhone1,10", 53}, {"iPhone1,1 ", 53}, {"iPhone1,20", 53},
           {"iPhone1,3", 53},    {"iPhone10,3", 53}, {"iPhone5", 53},    {"iPhone5,5", 53},
           {"iPhone7", 53},      {"iPhone8,4", 53},  {"iPhone9,1", 53},  {"iPod6,1", 54},
           {"iPod8,1", 54},      {"iPad2", 55},      {"iPad2,5", 55},    {"iPad3,7", 55},
           {"iPad5,3", 55},      {"iPad6,3", 55},    {"iPad7,3", 55},    {"AppleTV1,1", 56},
           {"AppleTV5,3", 56},
       })
    expectModel(model.machine, model.code);
}

TEST_F(DeviceInfo, DoesNotKnowAnyOtherMachine) {
  for (const char* machine :
       {"",         " ",     "0",       "8",       "6",       "68",     "860",       "한글",
        "iFPG",     "ifpga", "iFPGA ",  "iFPGA1",  "iPhon",   "AppleT", "iphone8,2", " iPhone8,2",
        "Watch1,1", "i386 ", "x86_64 ", "x86_64h", "ax86_64", "X86_64", "arm64"})
    expectModel(machine, 0);
}

TEST_F(DeviceInfo, DoesNotKnowAMachineWithoutAModel) {
  expectModel(nullptr, 0);
}

struct Screen {
  double width;
  std::uint32_t simulator;
};

TEST_F(DeviceInfo, TellsSimulatorsApartByTheirScreens) {
  for (const Screen& screen : {Screen{320, kPhoneSimulator},
                               {767, kPhoneSimulator},
                               {767.9, kPhoneSimulator},
                               {767.9999999, kPhoneSimulator},
                               {768, kTabletSimulator},
                               {768.1, kTabletSimulator},
                               {1024, kTabletSimulator},
                               {0, kPhoneSimulator}}) {
    facts_.width = screen.width;
    for (const char* machine : {"i386", "x86_64", "86", "x86", "Laptop 86", "iFPGA86", "Watch1,86"})
      expectModel(machine, screen.simulator);
  }
}

TEST_F(DeviceInfo, LooksAtTheScreensOfSimulatorsAlone) {
  facts_.width = 1024;
  for (const Model& model : {Model{"iPhone86", 53}, {"iPod1,86", 17}, {"AppleTV86", 56}, {"arm64", 0}})
    expectModel(model.machine, model.code);
}

TEST_F(DeviceInfo, NamesTheMachineAsItIs) {
  for (const char* machine : {"iPhone8,2", " odd  name ", "x86_64", ""}) {
    facts_.model = machine;
    EXPECT_EQ(info_.platform(), machine);
    EXPECT_EQ(info_.getSysInfoByName("hw.machine"), machine);
  }
}

TEST_F(DeviceInfo, HasAnEmptyTextForAMachineWithoutAModel) {
  facts_.model = nullptr;
  EXPECT_EQ(info_.platform(), "");
  EXPECT_EQ(info_.getSysInfoByName("hw.machine"), "");
}

TEST_F(DeviceInfo, GivesTheValueOfASystemControl) {
  facts_.controls = {{"kernel.ostype", "Linux"}, {"empty", ""}, {"text", "한글 two  words"}};
  for (const auto& [name, value] : facts_.controls)
    EXPECT_EQ(info_.getSysInfoByName(name.c_str()), value) << name;
}

TEST_F(DeviceInfo, AsksTheDeviceForTheMachineAlone) {
  facts_.controls = {
      {"hw.machine", "another"}, {"hw.machine2", "second"}, {"hw.mach", "third"}, {"", "none"}};
  EXPECT_EQ(info_.getSysInfoByName("hw.machine"), "iPhone8,2");
  EXPECT_EQ(info_.getSysInfoByName("hw.machine2"), "second");
  EXPECT_EQ(info_.getSysInfoByName("hw.mach"), "third");
  EXPECT_EQ(info_.getSysInfoByName(""), "none");
}

TEST_F(DeviceInfo, HasAnEmptyTextForASystemControlThatIsNotThere) {
  for (const char* name : {"no.such.control", "", "HW.MACHINE", static_cast<const char*>(nullptr)})
    EXPECT_EQ(info_.getSysInfoByName(name), "") << test::text(String(name));
}

TEST_F(DeviceInfo, IsReadAnewAtEachQuestion) {
  for (const Model& model : {Model{"iPhone8,2", 16}, {"iPad3,4", 34}, {"iPhone8,2", 16}}) {
    expectModel(model.machine, model.code);
    EXPECT_EQ(info_.platform(), model.machine);
  }
  for (const char* value : {"first", "second"}) {
    facts_.controls["control"] = value;
    EXPECT_EQ(info_.getSysInfoByName("control"), value);
  }
}

}  // namespace
}  // namespace pxa
