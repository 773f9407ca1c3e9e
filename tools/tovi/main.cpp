// tovi: the devices of this machine, and linear systems from Matrix Market files.

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>
#include <limits>
#include <new>

#include "tools/tovi/devices.h"
#include "tools/tovi/solve.h"

namespace {

constexpr int failed = 1, wrongUsage = 2;

constexpr const char* solveNotes =
    "A and b are Matrix Market files: coordinate or array; real, complex, integer or\n"
    "pattern; general, symmetric, Hermitian or skew-symmetric. Entries for one place are\n"
    "added. Values are rounded to single precision; the system is complex where A or b is.\n\n"
    "time            gesv from operands in host memory (with transfers), and again from\n"
    "                operands in device memory (without); a call that only starts the\n"
    "                device goes before\n"
    "speed           (2/3 n^3 + 2 n^2 nrhs) / time, four times that for complex systems\n"
    "backward error  max over the columns of ||b - A x|| / (n ||A|| ||x|| eps), in double\n"
    "                precision; 1-norms, eps = 2^-24, A and b as rounded\n\n"
    "Exit code: 0 solved, 1 failed, 2 wrong usage.";

int run(int argc, char** argv) {
  CLI::App app("Dense linear algebra on the device");
  app.set_version_flag("--version", "tovi " TOVI_VERSION);
  app.require_subcommand(1);

  CLI::App* devices = app.add_subcommand("devices", "List the devices");
  CLI::App* solve = app.add_subcommand("solve", "Solve A x = b in single precision");
  tool::SolveOptions options;
  solve->add_option("A", options.matrix, "Matrix, square")->required()->option_text("A.mtx");
  solve
      ->add_option("b", options.rightHandSide, "Right-hand sides, one a column (default: one column of ones)")
      ->option_text("b.mtx");
  solve->add_option("-o,--output", options.output, "Write x, in array format")->option_text("x.mtx");
  solve->add_option("--csv", options.csv, "Append the results to this file, one line")->option_text("FILE");
  solve->add_option("-d,--device", options.device, "Number of the device (default: the library chooses)")
      ->check(CLI::Range(0, std::numeric_limits<int>::max()))
      ->option_text("N");
  solve->footer(solveNotes);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e) == 0 ? 0 : wrongUsage;
  }
  if (*devices) tool::listDevices();
  if (*solve) tool::solve(options);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::bad_alloc&) {
    std::cerr << "tovi: not enough memory\n";
  } catch (const std::exception& e) {
    std::cerr << "tovi: " << e.what() << '\n';
  }
  return failed;
}
