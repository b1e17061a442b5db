#pragma once

#include <utility>

#include <pxalog/CrashReport.h>

// Reports as they come from devices of several kinds.
namespace pxa::test {

inline CrashReport::Exception outOfRange(CrashReport::Frames frames) {
  return {.name = "std::out_of_range", .reason = "vector::_M_range_check", .frames = std::move(frames)};
}

/// A program on a server: its main thread dereferenced a null pointer while another thread waited.
inline CrashReport x86_64Report() {
  constexpr CrashReport::CodeType kCode{.type = CrashReport::kX86_64, .subtype = 3};
  CrashReport report;
  report.operatingSystem = CrashReport::OperatingSystem::Linux;
  report.systemVersion = "12";
  report.systemBuild = "6.1.0-18-amd64";
  report.architecture = kCode;
  report.time = 1795275158;
  report.machineModel = "PowerEdge R640";
  report.codeType = kCode;
  report.applicationIdentifier = "com.example.billing";
  report.applicationVersion = "1.4.2";
  report.process = {.name = "billing",
                    .id = 4711,
                    .path = "/opt/billing/bin/billing",
                    .parentName = "systemd",
                    .parentId = 1};
  report.signal = {.name = "SIGSEGV", .code = "SEGV_MAPERR", .address = 0x10};
  report.threads = {
      {.number = 0,
       .isCrashed = true,
       .name = "billing",
       .frames = {0x55d0c3a01234, 0x55d0c3a00f00, 0x7f2b18029d90, 0},
       .registers = {{"rax", 0},
                     {"rbx", 0x7ffd1c2b3a48},
                     {"rcx", 0x7f2b18114a37},
                     {"rdx", 0xffffffffffffffff},
                     {"r8", 8},
                     {"rip", 0x55d0c3a01234}}},
      {.number = 1, .name = "pxa-send", .frames = {0x7f2b18114a37, 0x7f2b18094ac3}},
  };
  report.images = {
      {.base = 0x7f2b18000000,
       .size = 0x1e0000,
       .path = "/usr/lib/x86_64-linux-gnu/libc.so.6",
       .uuid = "51657f818beb1ae70372216a99b7412b8a100a20",
       .codeType = kCode},
      {.base = 0x55d0c3a00000,
       .size = 0x4000,
       .path = "/opt/billing/bin/billing",
       .uuid = "0e5af3b0d8cb4f6a9a7bb9f6b3d8f0d1aa27c4e5",
       .codeType = kCode},
      {.base = 0x7ffd1c3f2000, .size = 0x2000, .path = "[vdso]"},
  };
  return report;
}

inline CrashReport x86_64ExceptionReport() {
  CrashReport report = x86_64Report();
  report.signal = {.name = "SIGABRT", .code = "SI_TKILL", .address = 0x1267};
  report.exception = outOfRange({0x7f2b18029d90, 0x55d0c3a02000});
  return report;
}

/// An application on a phone: a thread of its own died, and the report names no code type of the process.
inline CrashReport arm64Report() {
  constexpr CrashReport::CodeType kCode{.type = CrashReport::kArm64, .subtype = 0};
  CrashReport report;
  report.operatingSystem = CrashReport::OperatingSystem::iOS;
  report.systemVersion = "12.1";
  report.systemBuild = "16B92";
  report.architecture = kCode;
  report.time = 1541894400;
  report.machineModel = "iPhone8,2";
  report.applicationIdentifier = "com.example.notes";
  report.applicationVersion = "7";
  report.process = {.name = "Notes",
                    .id = 321,
                    .path = "/var/containers/Bundle/Notes.app/Notes",
                    .parentName = "launchd",
                    .parentId = 1};
  report.signal = {.name = "SIGBUS", .code = "BUS_ADRALN", .address = 0x100c8f003};
  report.threads = {
      {.number = 0, .name = "main", .frames = {0x1bd2c40c4}},
      {.number = 3,
       .isCrashed = true,
       .frames = {0x100c8c1d8, 0x1bd2c40c4},
       .registers = {{"x0", 1}, {"x1", 0x100c8f003}, {"fp", 0x16f17bd20}, {"pc", 0x100c8c1d8}}},
  };
  report.images = {
      {.base = 0x1bd2a1000,
       .size = 0x6c000,
       .path = "/usr/lib/system/libsystem_kernel.dylib",
       .uuid = "f2e5d0f6b4a33b6d9f9f3c1a7d0e8c21",
       .codeType = CrashReport::CodeType{.type = CrashReport::kArm64, .subtype = 13}},
      {.base = 0x100c88000,
       .size = 0x8000,
       .path = "/var/containers/Bundle/Notes.app/Notes",
       .uuid = "7d4e1c9a52f03e0b8a6d5f4c3b2a1908",
       .codeType = kCode},
  };
  return report;
}

inline CrashReport arm64ExceptionReport() {
  CrashReport report = arm64Report();
  report.signal = {.name = "SIGABRT", .code = "#0", .address = 0x1bd2c40c4};
  report.exception = {.name = "NSRangeException",
                      .reason = "index 3 beyond bounds [0 .. 2]",
                      .frames = {0x100c8c1d8, 0x100c8a000}};
  return report;
}

/// An old phone, with registers of 32 bits.
inline CrashReport armReport() {
  CrashReport report = arm64Report();
  report.architecture = {.type = CrashReport::kArm, .subtype = 9};
  report.process.parentId.reset();
  report.signal.address = 0x3;
  report.threads = {
      {.number = 0,
       .isCrashed = true,
       .frames = {0xd4120},
       .registers = {{"r0", 3}, {"r11", 0}, {"r12", 0xdeadbeef}, {"sp", 0x27d8f000}, {"lr", 0}}}};
  report.images = {{.base = 0xd0000,
                    .size = 0x8000,
                    .path = "/var/containers/Bundle/Notes.app/Notes",
                    .uuid = "7d4e1c9a52f03e0b8a6d5f4c3b2a1908",
                    .codeType = CrashReport::CodeType{.type = CrashReport::kArm, .subtype = 11}}};
  return report;
}

}  // namespace pxa::test
