#include "support/LoopbackService.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QJsonDocument>

#include <cstdio>

// The service as a program. Prints its address as one JSON line, serves until it is killed, and is controlled
// by POST /control/VERB (see LoopbackAnswers.cpp).
int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCommandLineParser arguments;
    const auto option = [&](const char* name, const char* description, const char* value) {
        arguments.addOption(
            {QString::fromLatin1(name), QString::fromLatin1(description), QString::fromLatin1(value)});
    };
    option("port", "Port on the loopback address; 0 for any free one.", "number");
    option("record", "Appends what is received to this file, one JSON object a line.", "file");
    option("token", "The API token that is accepted and handed out.", "text");
    option("store", "Address that upload-url answers with; {id} is the session's.", "url");
    option("live", "Address of the live channel; {id} is the session's.", "url");
    option("misbehave", "A rule as a JSON object, e.g. {\"match\": \"GET /api/app/me\", \"status\": 500}.",
        "rule");
    option("certificate", "PEM file; with --key, serves https and wss.", "file");
    option("key", "PEM file.", "file");
    option("host", "Host in the addresses handed out.", "name");
    arguments.addHelpOption();
    arguments.process(app);

    const auto given = [&](const char* name) { return arguments.value(QString::fromLatin1(name)); };
    tavro::test::LoopbackService::Options options;
    options.port = given("port").toUShort();
    options.recordFile = given("record").toStdString();
    options.certificate = given("certificate").toStdString();
    options.key = given("key").toStdString();
    if (!given("token").isEmpty())
        options.token = given("token");
    if (!given("host").isEmpty())
        options.host = given("host");
    try {
        tavro::test::LoopbackService service(options);
        service.setStoreURL(given("store"));
        service.setLiveURL(given("live"));
        for (const QString& rule : arguments.values(QStringLiteral("misbehave")))
            service.misbehave(
                tavro::test::Misbehaviour::fromJson(QJsonDocument::fromJson(rule.toUtf8()).object()));
        std::printf("{\"port\": %d, \"url\": \"%s\"}\n", service.baseURL().port(),
            qUtf8Printable(service.baseURL().toString()));
        std::fflush(stdout);
        return QCoreApplication::exec();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
