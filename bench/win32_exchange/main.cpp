// Exchanges a second, command out and response back, through the operations that the serial device is made
// of, beside the same in bare calls of Windows. Run under Wine by tests/transport/wine_peer.py.

#include "bench/common/bare_win32_exchange.h"
#include "bench/common/figure.h"
#include "tests/transport/wine_peer.h"

namespace {

constexpr int rounds = 7;

double ourRate()
{
    OpenLine line;
    peer("echo");
    const Stopwatch watch;
    for (int count = 0; count < exchanges; ++count) {
        char got[sizeof hello] = {};
        if (line.write(std::string(hello, sizeof hello)) != whole || line.read(got, sizeof got) != whole ||
            std::memcmp(got, hello, sizeof got) != 0)
            giveUp("an answer is missing");
    }
    return exchanges / watch.seconds();
}

double theirRate()
{
    peer("plug");
    peer("echo");
    return bareRate(com7);
}

} // namespace

int main()
{
    std::vector<double> ours, bare, ratios;
    for (int round = 0; round < rounds; ++round) {
        bare.push_back(theirRate());
        ours.push_back(ourRate());
        ratios.push_back(ours.back() / bare.back());
    }
    const bool kept = printFigure("win32_exchange_per_second", median(ours), median(bare), median(ratios),
                                  Budget::atLeast, 0.5);
    return kept ? 0 : 1;
}
