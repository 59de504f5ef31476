#include "schemavalidation.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

QByteArray schemaObjection(const QByteArray& json)
{
    const QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("result.json")));
    if (!file.open(QIODevice::WriteOnly) || file.write(json) != json.size()) {
        return "cannot write";
    }
    file.close();
    QProcess validator;
    validator.setProcessChannelMode(QProcess::MergedChannels);
    validator.start(QStringLiteral("/usr/bin/python3"),
                    {QStringLiteral("-c"),
                     QStringLiteral("import json, jsonschema, sys\n"
                                    "schema = json.load(open(sys.argv[1]))\n"
                                    "jsonschema.Draft202012Validator.check_schema(schema)\n"
                                    "jsonschema.Draft202012Validator(schema).validate("
                                    "json.load(open(sys.argv[2])))\n"),
                     QStringLiteral(QUORVEL_SOURCE_DIR "/docs/quorvel-cli.schema.json"),
                     file.fileName()});
    if (!validator.waitForFinished()) {
        return "no validator";
    }
    return validator.exitCode() == 0 ? QByteArray() : validator.readAll() + "refused";
}
