// SPDX-License-Identifier: Apache-2.0
// quiver sweep CASE: many solves; quiver merge SHARD...: the results of a sweep that ran in parts.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#if defined(_WIN32)
#include <io.h>
#define isatty _isatty
#else
#include <unistd.h>
#endif

#include "cli/command.h"
#include "cli/json_output.h"
#include "runtime/contract/error.h"
#include "runtime/io/csv.h"
#include "runtime/io/path_text.h"
#include "runtime/io/sha256.h"
#include "runtime/io/variation.h"
#include "runtime/plugin/shared_library.h"
#include "runtime/sweep/sweep_run.h"

namespace quiver {
namespace {

struct SweepArguments {
  DirectModel direct;
  std::vector<std::string> vary;
  std::string table, sample, output, shard;
  long long points = 0, seed = -1;
  int jobs = 0;
  double point_timeout = 300;
  bool resume = false, dry_run = false, json = false, mpi = false;
};

constexpr const char* kJsonNeedsOutput =
    "--json needs an --output FILE.csv or FILE.jsonl: standard output holds one document only.";

std::atomic<bool> interrupted{false};
void Interrupt(int) { interrupted = true; }

std::string Duration(double seconds) {
  const auto whole = static_cast<long long>(seconds + 0.5);
  if (whole >= 3600) return fmt::format("{} h {:02} min", whole / 3600, whole / 60 % 60);
  if (whole >= 60) return fmt::format("{} min {:02} s", whole / 60, whole % 60);
  return fmt::format("{} s", whole);
}

// On standard error: a bar that is drawn again and again on a terminal, else a line for every tenth of the points, at least one
// a minute and at most one a second.
class ProgressDisplay {
 public:
  void Show(const SweepProgress& progress) {
    if (progress.points == 0) return;
    const double share = static_cast<double>(progress.done) / static_cast<double>(progress.points);
    const auto now = std::chrono::steady_clock::now();
    const bool end = progress.done == progress.points;
    const double waited = std::chrono::duration<double>(now - last_).count();
    if (terminal_ ? waited < 0.1 && !end : waited < 1 || (waited < 60 && share < next_)) return;
    if (end && ended_) return;
    ended_ = end;
    last_ = now;
    const double left =
        progress.rate > 0 ? static_cast<double>(progress.points - progress.done) / progress.rate : 0;
    std::string text =
        fmt::format("{} of {} points, {:.4g} a second", progress.done, progress.points, progress.rate);
    if (progress.unsolved > 0) text += fmt::format(", {} not solved", progress.unsolved);
    if (progress.rate > 0 && !end) text += fmt::format(", {} left", Duration(left));
    if (!terminal_) {
      while (next_ <= share) next_ += 0.1;
      fmt::print(stderr, "{}\n", text);
      return;
    }
    constexpr int kWidth = 24;
    const int filled = static_cast<int>(share * kWidth);
    fmt::print(stderr, "\r\x1b[K[{:#<{}}{:.<{}}] {:3.0f} % {}{}", "", filled, "", kWidth - filled,
               std::floor(100 * share), text, end ? "\n" : "");
    std::fflush(stderr);
  }

 private:
  bool terminal_ = isatty(2);
  bool ended_ = false;
  double next_ = 0.1;
  std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

void ReadShard(const std::string& text, int& shard, int& shards) {
  char end = 0;
  if (std::sscanf(text.c_str(), "%d/%d%c", &shard, &shards, &end) != 2 || shard < 1 || shards < shard)
    throw Error(
        fmt::format("--shard {}: write it as in 2/8, the second of eight parts.", QuoteForMessage(text)));
}

// Of the case's file as it is, so that sha256sum prints the same; of a model given directly, of its arguments.
std::string DigestOf(const DirectModel& direct, bool from_file) {
  std::string bytes;
  if (from_file) {
    std::ifstream file(PathOf(direct.model), std::ios::binary);
    bytes.assign(std::istreambuf_iterator<char>(file), {});
    return Sha256Of(bytes);
  }
  bytes = direct.model + '\n' + direct.components;
  const auto add = [&](const char* option, const std::vector<std::string>& texts) {
    for (const std::string& text : texts) bytes += fmt::format("\n--{} {}", option, text);
  };
  add("set", direct.set);
  add("fix", direct.fix);
  add("guess", direct.guess);
  add("global", direct.globals);
  return Sha256Of(bytes);
}

int PrintPoints(const SweepPlan& plan) {
  std::string head = "point";
  for (const SweepAxis& axis : plan.axes()) head.append(",").append(CsvCell(axis.name.Text()));
  fmt::print("{}\n", head);
  for (long long point = 0; point < plan.Count(); ++point) {
    std::string line = std::to_string(point + 1);
    for (const CaseValue& value : plan.Values(point)) line.append(",").append(CsvCell(ValueText(value)));
    fmt::print("{}\n", line);
  }
  return 0;
}

Json SummaryJson(const SweepSummary& summary) {
  Json document = {{"points", summary.points}};
  for (int k = 0; k < kPointStatuses; ++k)
    document[kPointStatusNames[k]] = summary.counts.Of(static_cast<PointStatus>(k));
  document["complete"] = summary.complete;
  document["output"] = TextOrNull(summary.file.empty() ? nullptr : summary.file.string().c_str());
  document["sweep_sha256"] = summary.sweep_digest;
  document["seconds"] = summary.seconds;
  document["points_per_second"] = summary.rate;
  return document;
}

int Conclude(const SweepSummary& summary, bool json) {
  std::string text;
  for (int k = 0; k < kPointStatuses; ++k)
    if (const long long count = summary.counts.Of(static_cast<PointStatus>(k)))
      text += fmt::format("{}{} {}", text.empty() ? "" : ", ", count, kPointStatusNames[k]);
  const std::string file = summary.file.string();
  if (json) Print(SummaryJson(summary));
  if (!summary.complete)
    fmt::print(stderr,
               "Broken off after {} of {} points. {} keeps them; the same command with --resume goes on.\n",
               summary.counts.All(), summary.points, file);
  else if (!json)
    fmt::print(stderr, "{} points in {:.3g} s: {}{}\n", summary.points, summary.seconds, text,
               file.empty() ? "" : "; written to " + file);
  return summary.complete && summary.counts.Of(PointStatus::kSolved) == summary.points ? 0 : 1;
}

// The ranks of an MPI run, through a library of its own that only --mpi loads. Each rank is a shard; the first joins them.
class Ranks {
 public:
  Ranks() : library_(Open()) {
    const auto start = Function<int (*)(int*, int*)>("quiver_mpi_start");
    least_ = Function<int (*)(int)>("quiver_mpi_least");
    finish_ = Function<void (*)()>("quiver_mpi_finish");
    if (!start(&rank, &size)) throw Error("MPI cannot be started. Start quiver by mpirun.");
  }
  Ranks(const Ranks&) = delete;
  Ranks& operator=(const Ranks&) = delete;
  ~Ranks() { finish_(); }
  int Least(int value) const { return least_(value); }  // of what all ranks give; waits for them

  int rank = 0, size = 1;

 private:
  static SharedLibrary Open() {
    const auto folder = SharedLibrary::FolderOf(reinterpret_cast<const void*>(&Version));
    const auto path = folder / SharedLibrary::FileName("quiver_mpi");
    if (!std::filesystem::exists(path))
      throw Error(
          fmt::format("{} is missing: this program was built without MPI. Build it where MPI is installed "
                      "(Debian: libopenmpi-dev), or run shards with --shard.",
                      path.string()));
    return SharedLibrary(path);
  }
  template <class F>
  F Function(const char* name) const {
    void* address = library_.Find(name);
    if (!address) throw Error(fmt::format("{} lacks {}. Install it anew.", library_.path().string(), name));
    return reinterpret_cast<F>(address);
  }
  SharedLibrary library_;
  int (*least_)(int) = nullptr;
  void (*finish_)() = nullptr;
};

// What each rank does is done by all before the shards are joined; one fault is told once, by the first rank that met it.
int OverRanks(SweepOptions options, bool json, const std::function<SweepSummary(const SweepOptions&)>& run) {
  const Ranks ranks;
  options.shard = ranks.rank + 1;
  options.shards = ranks.size;
  if (ranks.rank > 0) options.on_progress = nullptr;
  std::string fault;
  SweepSummary summary;
  const auto guarded = [&](const auto& action) {
    try {
      action();
    } catch (const std::exception& error) {
      fault = error.what();
    }
    const int first_faulty = ranks.Least(fault.empty() ? ranks.size : ranks.rank);
    if (first_faulty == ranks.rank) fmt::print(stderr, "{}\n", fault);
    return first_faulty == ranks.size;
  };
  if (!guarded([&] { summary = run(options); })) return 2;
  const bool complete = ranks.Least(summary.complete ? 1 : 0) == 1;
  int status = 1;
  const bool joined = guarded([&] {
    if (ranks.rank > 0) return;
    if (complete && ranks.size > 1) {
      std::vector<std::filesystem::path> shards;
      for (int shard = 1; shard <= ranks.size; ++shard)
        shards.push_back(ShardPath(options.output, shard, ranks.size));
      summary = MergeShards(shards, options.output);
      for (const std::filesystem::path& path : shards) std::filesystem::remove(path);
    }
    status = Conclude(summary, json);
  });
  return joined ? ranks.Least(ranks.rank > 0 ? 2 : status) : 2;
}

int Sweep(const ProgramOptions& libraries, const SweepArguments& arguments) {
  SweepOptions options;
  options.output = arguments.output;
  if (arguments.mpi && !arguments.shard.empty())
    throw Error("--mpi and --shard both say which part to solve. Give one of them.");
  options.jobs = arguments.jobs > 0 ? arguments.jobs
                 : arguments.mpi    ? 1
                                    : std::max(1u, std::thread::hardware_concurrency());
  options.resume = arguments.resume;
  options.point_timeout = arguments.point_timeout;
  if (!arguments.shard.empty()) ReadShard(arguments.shard, options.shard, options.shards);
  if (!arguments.output.empty()) CheckResultName(options.output);
  if (arguments.output.empty() && arguments.json) throw Error(kJsonNeedsOutput);
  if (arguments.output.empty() && (arguments.resume || options.shards > 1))
    throw Error(
        "--resume and --shard need an --output FILE.csv or FILE.jsonl, beside which the work is kept.");

  SweepRequest request;
  for (const std::string& text : arguments.vary) request.vary.push_back(ReadVariation(text, "--vary"));
  request.table = arguments.table;
  request.sample = arguments.sample;
  request.points = arguments.points;
  request.seed = arguments.seed;
  const ModelSource& library = libraries.Libraries();
  bool from_file = false;
  CaseFile description = arguments.direct.Description(library, from_file);
  const SweepPlan plan(std::move(description), request, from_file);
  if (arguments.dry_run) return PrintPoints(plan);

  options.case_digest = DigestOf(arguments.direct, from_file);
  ProgressDisplay display;
  options.on_progress = [&](const SweepProgress& progress) { display.Show(progress); };
  options.interrupted = &interrupted;
  std::signal(SIGINT, Interrupt);
  std::signal(SIGTERM, Interrupt);
  const auto sweep = [&](const SweepOptions& part) { return RunSweep(library, plan, part); };
  if (arguments.mpi) return OverRanks(options, arguments.json, sweep);
  return Conclude(RunSweep(library, plan, options), arguments.json);
}

int Merge(const std::vector<std::string>& shards, const std::string& output, bool json) {
  if (!output.empty()) CheckResultName(output);
  if (output.empty() && json) throw Error(kJsonNeedsOutput);
  return Conclude(MergeShards({shards.begin(), shards.end()}, output), json);
}

}  // namespace

void AddSweepCommand(CLI::App& program, const ProgramOptions& options, Run& run) {
  CLI::App* command =
      program.add_subcommand("sweep", "Solves a case at many points: a grid, a table or a sample");
  const auto a = std::make_shared<SweepArguments>();
  command->add_option("CASE", a->direct.model, "A case file, or the name of a model")->required();
  AddDirectOptions(*command, a->direct, true);
  command
      ->add_option("--vary", a->vary,
                   "\"psv.P_DROP=1..10 bar:10\", \"1..1000 bar:4 log\", \"fit.FITCONNECT=Flanged, Screwed\"")
      ->type_name("NAME=VALUES")
      ->take_all()
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  command
      ->add_option("--table", a->table, "Points from a CSV file, whose header names values: psv.P_DROP [bar]")
      ->type_name("FILE.csv");
  command->add_option("--sample", a->sample, "Points spread over the ranges of --vary instead of a grid")
      ->check(CLI::IsMember({"sobol", "latin-hypercube"}));
  command->add_option("--points", a->points, "Points of the sample")->check(CLI::PositiveNumber);
  command->add_option("--seed", a->seed, "Another sample of the same quality")->check(CLI::NonNegativeNumber);
  command
      ->add_option("--output", a->output,
                   "Results: FILE.csv or FILE.jsonl; CSV to standard output if left out")
      ->type_name("FILE");
  command->add_option("--jobs", a->jobs, "Worker processes; if left out as many as processors, or one a rank")
      ->check(CLI::PositiveNumber);
  command
      ->add_option("--shard", a->shard,
                   "Only this part of the points, 2/8 say; \"quiver merge\" joins the parts")
      ->type_name("I/N");
  command->add_flag("--mpi", a->mpi,
                    "Under mpirun: every rank solves its part of the points, the first joins them");
  command->add_flag("--resume", a->resume, "Goes on where a run that was broken off has stopped");
  command
      ->add_option("--point-timeout", a->point_timeout, "Seconds after which a point is given up; 0: never")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  command->add_flag("--dry-run", a->dry_run, "Prints the points and solves none");
  command->add_flag("--json", a->json, "A summary as one JSON document on standard output; needs --output");
  command->callback([=, &options, &run] { run = [=, &options] { return Sweep(options, *a); }; });

  CLI::App* merge = program.add_subcommand("merge", "Joins the shards of a sweep into one file of results");
  const auto shards = std::make_shared<std::vector<std::string>>();
  const auto output = std::make_shared<std::string>();
  const auto json = std::make_shared<bool>(false);
  merge->add_option("SHARD", *shards, "Files that \"quiver sweep --shard\" left, all of one sweep")
      ->required();
  merge->add_option("--output", *output, "FILE.csv or FILE.jsonl; CSV to standard output if left out")
      ->type_name("FILE");
  merge->add_flag("--json", *json, "A summary as one JSON document on standard output; needs --output");
  merge->callback([=, &run] { run = [=] { return Merge(*shards, *output, *json); }; });
}

}  // namespace quiver
