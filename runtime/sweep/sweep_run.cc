// SPDX-License-Identifier: Apache-2.0
#include "runtime/sweep/sweep_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <memory>

#include "runtime/cases/installation.h"
#include "runtime/io/sha256.h"
#include "runtime/sweep/workers.h"

namespace quiver {
namespace {

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// A journal that nobody asked to keep.
class Scrap {
 public:
  explicit Scrap(bool wanted) {
    if (!wanted) return;
    const auto ticks = Clock::now().time_since_epoch().count();
    path = std::filesystem::temp_directory_path() /
           fmt::format("quiver-sweep-{:x}-{:x}", ticks, reinterpret_cast<std::uintptr_t>(this));
  }
  Scrap(const Scrap&) = delete;
  Scrap& operator=(const Scrap&) = delete;
  ~Scrap() {
    std::error_code unknown;
    if (!path.empty()) std::filesystem::remove(path, unknown);
  }
  std::filesystem::path path;
};

// A name or unit that no point knows is the request's fault, a value out of bounds that of its point: so the sweep is
// refused when none of a few points spread over it can be built.
std::vector<std::string> UnitsOfAxes(const ModelSource& library, const SweepPlan& plan) {
  PointSolver solver(library, plan);
  std::exception_ptr first_fault;
  for (const long long point : {0LL, plan.Count() - 1, plan.Count() / 2, plan.Count() / 3}) try {
      return solver.AxisUnits(point);
    } catch (const std::exception&) {
      if (!first_fault) first_fault = std::current_exception();
    }
  std::rethrow_exception(first_fault);
}

}  // namespace

std::filesystem::path ShardPath(const std::filesystem::path& output, int shard, int shards) {
  return fmt::format("{}.shard-{}-of-{}", output.string(), shard, shards);
}

SweepSummary RunSweep(const ModelSource& library, const SweepPlan& plan, const SweepOptions& options) {
  const Clock::time_point begun = Clock::now();
  const std::vector<std::string> units = UnitsOfAxes(library, plan);
  JournalHeader header;
  header.version = Version();
  header.case_digest = options.case_digest;
  header.sweep_digest = Sha256Of(plan.Definition());
  header.points = plan.Count();
  header.chunk = ChunkSize(plan.Count());
  header.shard = options.shard;
  header.shards = options.shards;
  for (size_t k = 0; k < units.size(); ++k) header.axes.push_back({plan.axes()[k].name.Text(), units[k]});
  WorkIfStartedAsWorker(library, plan, units, header.Text());

  const bool is_shard = options.shards > 1;
  const Scrap scrap(options.output.empty());
  SweepSummary summary;
  summary.file = is_shard                 ? ShardPath(options.output, options.shard, options.shards)
                 : options.output.empty() ? scrap.path
                                          : std::filesystem::path(options.output.string() + ".journal");
  summary.sweep_digest = header.sweep_digest;
  auto journal = std::make_unique<Journal>(summary.file, header, options.resume);

  const auto range_of = [&](long long chunk) {
    return ChunkRange{chunk, chunk * header.chunk, std::min((chunk + 1) * header.chunk, header.points)};
  };
  long long missing = 0;
  for (long long chunk = options.shard - 1; chunk < header.ChunkCount(); chunk += options.shards) {
    const ChunkRange range = range_of(chunk);
    summary.points += range.last - range.first;
    if (journal->Has(chunk))
      summary.taken_over += range.last - range.first;
    else
      ++missing;
  }
  SweepProgress progress;
  progress.points = summary.points;
  progress.done = summary.taken_over;
  const Clock::time_point start = Clock::now();
  const auto report = [&] {
    progress.rate =
        static_cast<double>(progress.done - summary.taken_over) / std::max(SecondsSince(start), 1e-9);
    if (options.on_progress) options.on_progress(progress);
  };
  WorkerOptions workers;
  workers.jobs = static_cast<int>(std::min<long long>(options.jobs, missing));
  workers.greeting = header.Text();
  workers.point_timeout = options.point_timeout;
  workers.on_point = [&](PointStatus status) {
    ++progress.done;
    if (status != PointStatus::kSolved) ++progress.unsolved;
  };
  workers.on_tick = report;
  workers.stop = [&] { return options.interrupted && options.interrupted->load(); };
  long long next_chunk = options.shard - 1;
  const auto next = [&]() -> std::optional<ChunkRange> {
    while (next_chunk < header.ChunkCount() && journal->Has(next_chunk)) next_chunk += options.shards;
    if (next_chunk >= header.ChunkCount()) return std::nullopt;
    const ChunkRange range = range_of(next_chunk);
    next_chunk += options.shards;
    return range;
  };
  RunChunks(library, plan, units, workers, next,
            [&](long long chunk, const std::string& text) { journal->Append(chunk, text); });
  report();

  summary.counts = CountResults(*journal);
  summary.rate = progress.rate;
  summary.complete = journal->Missing() == 0;
  if (summary.complete && !is_shard) {
    WriteResults({journal.get()}, options.output);
    journal.reset();
    std::filesystem::remove(summary.file);
    summary.file = options.output;
  }
  summary.seconds = SecondsSince(begun);
  return summary;
}

SweepSummary MergeShards(const std::vector<std::filesystem::path>& shards,
                         const std::filesystem::path& output) {
  const Clock::time_point begun = Clock::now();
  if (shards.empty())
    throw Error("There is nothing to merge. Name the files that \"quiver sweep --shard\" left.");
  std::vector<std::unique_ptr<Journal>> journals;
  std::vector<const Journal*> parts;
  for (const std::filesystem::path& path : shards) {
    journals.push_back(std::make_unique<Journal>(path));
    JournalHeader header = journals.back()->header();
    header.shard = journals[0]->header().shard;
    if (header.Text() != journals[0]->header().Text())
      throw Error(fmt::format(
          "{} belongs to another sweep than {}: case, points, number of shards or version differ. Merge "
          "the shards of one sweep.",
          path.string(), shards[0].string()));
    parts.push_back(journals.back().get());
  }
  const JournalHeader& header = parts[0]->header();
  std::string missing;
  for (int shard = 1; shard <= header.shards; ++shard) {
    const auto whole = [&](const Journal* part) {
      return part->header().shard == shard && part->Missing() == 0;
    };
    if (std::none_of(parts.begin(), parts.end(), whole))
      missing += fmt::format("{}{}", missing.empty() ? "" : ", ", shard);
  }
  if (!missing.empty())
    throw Error(fmt::format(
        "Of {} shards these are missing or were broken off: {}. Run them with --shard i/{} --resume.",
        header.shards, missing, header.shards));
  WriteResults(parts, output);
  SweepSummary summary;
  summary.points = header.points;
  for (int shard = 1; shard <= header.shards; ++shard) {
    const auto is_it = [&](const Journal* part) { return part->header().shard == shard; };
    const PointCounts counts = CountResults(**std::find_if(parts.begin(), parts.end(), is_it));
    for (size_t k = 0; k < counts.by_status.size(); ++k) summary.counts.by_status[k] += counts.by_status[k];
  }
  summary.complete = true;
  summary.file = output;
  summary.sweep_digest = header.sweep_digest;
  summary.seconds = SecondsSince(begun);
  return summary;
}

}  // namespace quiver
