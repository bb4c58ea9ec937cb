#include "Sweep.h"

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <new>
#include <random>

namespace powercut {

namespace {

using vbset::PowerCut;

/** What the workers count, in memory that they share. */
struct Totals {
    std::atomic<unsigned long> nextJob{0};
    std::atomic<unsigned long> cases[4] = {};  ///< by the number of cuts
    std::atomic<unsigned long> cuts{0};
    std::atomic<unsigned long> runs{0};
    std::atomic<unsigned long> points{0};
    std::atomic<unsigned long> failures{0};
    std::atomic<unsigned long> outcomes[static_cast<int>(Outcome::count)] = {};
    std::atomic<unsigned long> states{0};
    static constexpr unsigned long capacity = 4UL << 20;
    std::uint64_t stateHashes[capacity];
};

constexpr unsigned long mostPrinted = 20;

/** A part of the work: the cases of a scenario with so many cuts; of those, every @p parts -th. */
struct Job {
    const Scenario* scenario;
    int cuts;
    unsigned int part;
    unsigned int parts;
};

/** The flows whose every pair of cuts is tried, one or two of each pairing and the short ones of one set. */
bool IsForPairs(const std::string& id)
{
    constexpr const char* chosen[] = {
        "backup-17-44",  "backup-15-44",  "backup-13-44", "restore-17-44",      "restore-15-44", "restore-14-44",
        "restore-13-44", "sync1-15-44", "mountedsync1-15-44", "load-15-44",
    };
    return std::any_of(std::begin(chosen), std::end(chosen), [&](const char* one) { return id == one; });
}

std::vector<Job> JobsOf(const SweepOptions& options)
{
    constexpr unsigned int parts = 16;
    std::vector<Job> jobs;
    const auto isMeant = [&](const Scenario& s) { return s.id.compare(0, options.only.size(), options.only) == 0; };
    for (const Scenario& scenario : Scenarios()) {
        for (unsigned int part = 0; isMeant(scenario) && IsForPairs(scenario.id) && part < parts; ++part) {
            jobs.push_back({&scenario, 2, part, parts});
        }
    }
    for (const Scenario& scenario : Scenarios()) {
        if (isMeant(scenario)) jobs.push_back({&scenario, 1, 0, 1});
    }
    for (const Scenario& scenario : Scenarios()) {
        if (isMeant(scenario)) jobs.push_back({&scenario, 3, 0, 1});
    }
    return jobs;
}

class Worker {
 public:
    Worker(const SweepOptions& options, Totals& totals) : options_(options), totals_(totals) {}

    void Do(const Job& job, double share)
    {
        // Every job has numbers of its own, so that a sample does not depend on who does what.
        const std::string& id = job.scenario->id;
        const std::uint64_t number = job.part + 31U * static_cast<unsigned int>(job.cuts);
        random_.seed(static_cast<unsigned int>(HashBytes(id.data(), id.size(), options_.seed * 1000003U + number)));
        share_ = share;
        const Case plain{job.scenario, {}};
        const auto points = trial_.PointsAfter(plain);
        if (job.cuts == 1) {
            totals_.points += points.size();
            Try(plain);
            for (const PowerCut& cut : CutsAt(points, true)) TryIfChosen({job.scenario, {cut}});
        } else if (job.cuts == 2) {
            TryPairs(job, CutsAt(points, false));
        } else {
            TryTriples(job, CutsAt(points, true));
        }
    }

 private:
    void TryPairs(const Job& job, const std::vector<PowerCut>& first)
    {
        for (std::size_t i = job.part; i < first.size(); i += job.parts) {
            const auto second = CutsAt(trial_.PointsAfter({job.scenario, {first[i]}}), true);
            for (const PowerCut& cut : second) TryIfChosen({job.scenario, {first[i], cut}});
        }
    }

    void TryTriples(const Job& job, const std::vector<PowerCut>& first)
    {
        constexpr int tries = 60;
        for (int i = 0; i < tries; ++i) {
            if (!IsChosen()) continue;
            Case made{job.scenario, {Any(first)}};
            made.cuts.push_back(Any(CutsAt(trial_.PointsAfter(made), true)));
            made.cuts.push_back(Any(CutsAt(trial_.PointsAfter(made), true)));
            Try(made);
        }
    }

    const PowerCut& Any(const std::vector<PowerCut>& cuts)
    {
        chosen_ = cuts[random_() % cuts.size()];
        return chosen_;
    }

    /** Whether the next case belongs to the sample. */
    bool IsChosen() { return share_ >= 1 || static_cast<double>(random_() % 1000000U) < share_ * 1e6; }

    void TryIfChosen(const Case& made)
    {
        if (IsChosen()) Try(made);
    }

    void Try(const Case& made)
    {
        const Tried tried = trial_.Try(made);
        ++totals_.cases[made.cuts.size()];
        totals_.cuts += static_cast<unsigned long>(tried.cuts);
        totals_.runs += static_cast<unsigned long>(tried.runs);
        for (const std::uint64_t state : tried.states) {
            const unsigned long place = totals_.states++;
            if (place < Totals::capacity) totals_.stateHashes[place] = state;
        }
        if (tried.complaint.empty()) {
            ++totals_.outcomes[static_cast<int>(tried.outcome)];
        } else if (totals_.failures++ < mostPrinted) {
            std::fprintf(stderr, "FAILED %s\n%s", made.Id().c_str(), tried.complaint.c_str());
        }
    }

    const SweepOptions& options_;
    Totals& totals_;
    Trial trial_;
    PowerCut chosen_;
    std::minstd_rand random_;
    double share_ = 1;
};

unsigned long DistinctStates(Totals& totals)
{
    const unsigned long count = std::min<unsigned long>(totals.states, Totals::capacity);
    std::sort(totals.stateHashes, totals.stateHashes + count);
    return static_cast<unsigned long>(std::unique(totals.stateHashes, totals.stateHashes + count) - totals.stateHashes);
}

void Print(Totals& totals, const SweepOptions& options, double seconds)
{
    std::printf("seed                         %lu\n", options.seed);
    std::printf("scenarios' cut points        %lu\n", totals.points.load());
    const unsigned long cut = totals.cases[1] + totals.cases[2] + totals.cases[3];
    std::printf("cases, all recovered from    %lu: %lu with one cut, %lu with two, %lu with three; %lu without\n", cut,
                totals.cases[1].load(), totals.cases[2].load(), totals.cases[3].load(), totals.cases[0].load());
    std::printf("power cuts                   %lu\n", totals.cuts.load());
    std::printf("distinct states after a cut  %lu\n", DistinctStates(totals));
    std::printf("runs                         %lu\n", totals.runs.load());
    for (int i = 0; i < static_cast<int>(Outcome::count); ++i) {
        std::printf("%9lu cases ended: %s\n", totals.outcomes[i].load(), NameOf(static_cast<Outcome>(i)));
    }
    std::printf("failed                       %lu\n", totals.failures.load());
    std::printf("time                         %.1f s on %u processes\n", seconds, options.jobs);
}

void Work(const SweepOptions& options, const std::vector<Job>& jobs, Totals& totals)
{
    Worker worker(options, totals);
    for (unsigned long next = totals.nextJob++; next < jobs.size(); next = totals.nextJob++) {
        // Roughly how many cases there are in all; a sample takes its share of each.
        constexpr double casesInAll = 300000;
        worker.Do(jobs[next], options.all ? 1 : static_cast<double>(options.sample) / casesInAll);
    }
}

}  // namespace

std::vector<PowerCut> CutsAt(const std::vector<Point>& points, bool thorough)
{
    std::vector<PowerCut> cuts;
    const auto add = [&](const Point& point, PowerCut::When when, unsigned long amount) {
        PowerCut cut;
        cut.interaction = point.interaction;
        cut.when = when;
        cut.amount = amount;
        cuts.push_back(cut);
        if (!thorough || when == PowerCut::When::Before || point.unsynced == 0) return;
        for (const char* letters : {"o", "z", "on", "no", "zn", "nz"}) {
            cut.unsynced = letters;
            if (letters[1] == '\0' || point.unsynced > 1) cuts.push_back(cut);
        }
    };
    for (const Point& point : points) {
        if (point.step > 0) {
            add(point, PowerCut::When::Step, point.step);
            continue;
        }
        if (thorough) add(point, PowerCut::When::Before, 0);
        if (point.bytes > 1) {
            if (thorough) add(point, PowerCut::When::Bytes, 1);
            add(point, PowerCut::When::Bytes, point.bytes / 2);
            if (thorough) add(point, PowerCut::When::Bytes, point.bytes - 1U);
        }
        add(point, PowerCut::When::After, 0);
    }
    return cuts;
}

void PrintSomeIds(unsigned long count, unsigned long seed)
{
    std::minstd_rand random(static_cast<unsigned int>(seed));
    Trial trial;
    std::vector<const Scenario*> order;
    for (const Scenario& scenario : Scenarios()) order.push_back(&scenario);
    std::shuffle(order.begin(), order.end(), random);
    for (unsigned long i = 0; i < count; ++i) {
        Case chosen{order[i % order.size()], {}};
        const bool twice = i % 4 == 3;
        do {
            const auto cuts = CutsAt(trial.PointsAfter(chosen), true);
            chosen.cuts.push_back(cuts[random() % cuts.size()]);
        } while (twice && chosen.cuts.size() < 2);
        std::printf("%s\n", chosen.Id().c_str());
    }
}

bool Sweep(const SweepOptions& options)
{
    const auto began = std::chrono::steady_clock::now();
    const std::vector<Job> jobs = JobsOf(options);
    void* const memory = mmap(nullptr, sizeof(Totals), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::bad_alloc();
    Totals& totals = *new (memory) Totals();
    std::vector<pid_t> workers;
    for (unsigned int i = 0; i < options.jobs; ++i) {
        const pid_t worker = fork();
        if (worker == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            Work(options, jobs, totals);
            _exit(0);
        }
        if (worker > 0) workers.push_back(worker);
    }
    bool ended = !workers.empty();
    for (const pid_t worker : workers) {
        int status = 0;
        ended = waitpid(worker, &status, 0) == worker && status == 0 && ended;
    }
    if (!ended) std::fprintf(stderr, "a worker did not end as it should\n");
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - began;
    Print(totals, options, time.count());
    return ended && totals.failures == 0 && totals.cuts > 0;
}

}  // namespace powercut
