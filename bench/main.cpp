#include <sched.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <functional>
#include <iterator>

#include "bench.h"

namespace bench {

double quantile(std::vector<double> values, double share) {
    const auto place = static_cast<std::ptrdiff_t>(static_cast<double>(values.size() - 1) * share);
    std::nth_element(values.begin(), values.begin() + place, values.end());
    return values[static_cast<std::size_t>(place)];
}

Figure compare(const std::string& sWhat, const RoundsT& subject, const RoundsT& floor,
               const char* unit, std::optional<double> aim) {
    Figure figure{.sWhat = sWhat, .value = median(subject), .unit = unit, .aim = aim};
    std::transform(subject.begin(), subject.end(), floor.begin(), std::back_inserter(figure.ratios),
                   std::divides<>());
    return figure;
}

}  // namespace bench

namespace {

/// Binds this process, and so all that it starts, to one core: on two, a round trip would measure
/// how long a sleeping core takes to wake.
bool bindToOneCore() {
    cpu_set_t cores;
    sched_getaffinity(0, sizeof(cores), &cores);
    int nLast = CPU_SETSIZE - 1;
    while (nLast > 0 && !CPU_ISSET(nLast, &cores)) {
        --nLast;
    }
    CPU_ZERO(&cores);
    CPU_SET(nLast, &cores);
    return sched_setaffinity(0, sizeof(cores), &cores) == 0;
}

void print(const bench::Figure& figure) {
    char ratio[40] = "";
    char aim[40] = "";
    if (!figure.ratios.empty()) {
        std::snprintf(ratio, sizeof(ratio), "%5.2f (%.2f to %.2f)", bench::median(figure.ratios),
                      bench::quantile(figure.ratios, 0.25), bench::quantile(figure.ratios, 0.75));
    }
    if (figure.aim) {
        const double reached = figure.ratios.empty() ? figure.value : bench::median(figure.ratios);
        const bool bMet = figure.bAimIsLeast ? reached >= *figure.aim : reached <= *figure.aim;
        std::snprintf(aim, sizeof(aim), "%s %.2f  %s",
                      figure.bAimIsLeast ? ">=" : "<=", *figure.aim, bMet ? "yes" : "no");
    }
    std::printf("%-62s %9.2f %-3s  %-28s %s\n", figure.sWhat.c_str(), figure.value, figure.unit,
                ratio, aim);
}

}  // namespace

/// usage: appconfig_bench DIRECTORY DIRECTORY_IN_MEMORY, empty ones; see run.
int main(int argc, char** argv) {
    if (argc != 3) {
        return 2;
    }
    try {
        if (!bindToOneCore()) {
            std::fputs("not bound to one core: round trips include the waking of another\n",
                       stderr);
        }
        const bench::HomesT homes{.sDisk = argv[1], .sMemory = argv[2]};
        std::vector<bench::Figure> figures;
        for (const auto measure : {bench::measureRoundTrips, bench::measureDurable,
                                   bench::measureGrowth, bench::measureInProcess}) {
            const std::vector<bench::Figure> measured = measure(homes);
            figures.insert(figures.end(), measured.begin(), measured.end());
        }
        std::printf("%-62s %13s  %-28s %s\n", "what", "this run", "ratio to the floor (quartiles)",
                    "aim  met?");
        std::for_each(figures.begin(), figures.end(), print);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "appconfig_bench: %s\n", failure.what());
        return 1;
    }
    return 0;
}
