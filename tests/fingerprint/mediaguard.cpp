#include "fingerprint/fingerprintcalculation.h"

#include <QFile>

#include <sys/resource.h>

#include <cstdio>

/**
 * Fingerprints one file and prints whether it has a fingerprint, then the most memory this process
 * ever held, in KiB: a process of its own, so that nothing else is measured. Ends by a signal after
 * a minute of processor time, which is far more than any file needs.
 */
int main(int argumentCount, char** arguments)
{
    if (argumentCount != 2) {
        return 2;
    }
    constexpr rlimit kMinute = {60, 60};
    setrlimit(RLIMIT_CPU, &kMinute);
    const fingerprint::CalculationReport report =
        fingerprint::fingerprintFile(QFile::decodeName(arguments[1])).report;
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly)) {
        return 3;
    }
    const QByteArray text = status.readAll();
    const qsizetype start = text.indexOf("VmHWM:") + 6;
    const QByteArray peak = text.mid(start, text.indexOf("kB", start) - start).trimmed();
    std::printf("%s %s\n", report.succeeded ? "fingerprint" : "none", peak.constData());
    return 0;
}
