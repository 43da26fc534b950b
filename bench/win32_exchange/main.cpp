// Exchanges a second, command out and response back, through the operations that the serial device is made
// of, beside the same in bare calls of Windows. Run under Wine by tests/transport/wine_peer.py.

#include "bench/common/bare_win32_exchange.h"
#include "bench/common/figure.h"
#include "tests/transport/wine_peer.h"

namespace {

constexpr int rounds = 7;

double our_rate()
{
    open_line line;
    peer("echo");
    const stopwatch watch;
    for (int count = 0; count < exchanges; ++count) {
        char got[sizeof hello] = {};
        if (line.write(std::string(hello, sizeof hello)) != whole || line.read(got, sizeof got) != whole ||
            std::memcmp(got, hello, sizeof got) != 0)
            give_up("an answer is missing");
    }
    return exchanges / watch.seconds();
}

double their_rate()
{
    peer("plug");
    peer("echo");
    return bare_rate(com7);
}

} // namespace

int main()
{
    std::vector<double> ours, bare, ratios;
    for (int round = 0; round < rounds; ++round) {
        bare.push_back(their_rate());
        ours.push_back(our_rate());
        ratios.push_back(ours.back() / bare.back());
    }
    const bool kept = print_figure("win32_exchange_per_second", median(ours), median(bare), median(ratios),
                                   Budget::AtLeast, 0.5);
    return kept ? 0 : 1;
}
