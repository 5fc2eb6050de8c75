#include "Backend/HTTPBackend.h"
#include "support/LoopbackService.h"
#include "support/TestSupport.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <cstdio>
#include <sys/resource.h>

// Uploads FILE to the pre-signed URL as the application does; prints duration and peak memory as JSON.
int main(int argc, char** argv) {
    using namespace tavro;
    const QCoreApplication app(argc, argv);
    if (argc != 3) {
        std::fputs("usage: bench_upload FILE URL\n", stderr);
        return 2;
    }
    test::LoopbackService service;
    service.setStoreURL(QString::fromLocal8Bit(argv[2]));
    HTTPBackend backend(service.baseURL(), QStringLiteral("token-1"));
    const QString id =
        test::await(backend.createSession(QStringLiteral("scn_guest"), std::nullopt, {})).session.id;
    QElapsedTimer elapsed;
    elapsed.start();
    test::await(backend.uploadVideo(id, argv[1]), std::chrono::minutes(10));
    const double seconds = static_cast<double>(elapsed.nsecsElapsed()) / 1e9;
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("{\"seconds\": %.3f, \"peakMegabytes\": %.1f, \"cpuSeconds\": %.2f}\n", seconds,
        static_cast<double>(usage.ru_maxrss) / 1024.0,
        static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
            static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6);
}
