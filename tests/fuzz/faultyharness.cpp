// A harness some of whose cases fail, each in a way of its own, so that a test can see it noticed.

#include "campaign.h"

#include <QCoreApplication>

#include <atomic>
#include <cstdlib>
#include <vector>

namespace {

void spin()
{
    for (std::atomic<unsigned> i = 0;; ++i) {
    }
}

/** More than a process is allowed, a piece at a time. */
void takeMemory()
{
    constexpr std::size_t kPiece = std::size_t{64} << 20;
    std::vector<std::vector<char>> pieces;
    while (true) {
        pieces.emplace_back(kPiece, 'x');
    }
}

void runCase(quint64 /*seed*/, quint64 number)
{
    switch (number) {
    case 12:
        std::abort();
    case 14:
        fuzz::require(false, "as it should be");
        break;
    case 16:
        spin();
        break;
    case 17:
        takeMemory();
        break;
    case 18:
        std::exit(3);
    default:
        break;
    }
}

} // namespace

int main(int argumentCount, char** arguments)
{
    const QCoreApplication application(argumentCount, arguments);
    fuzz::Harness harness;
    harness.name = QStringLiteral("faulty");
    harness.casesPerProcess = 4;
    harness.runCase = runCase;
    harness.contentOf = [](quint64, quint64 number) { return QByteArray::number(number); };
    return fuzz::run(harness, fuzz::parseOptions(QCoreApplication::arguments()));
}
