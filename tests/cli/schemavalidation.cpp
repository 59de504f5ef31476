#include "schemavalidation.h"

#include <QFile>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

namespace {

/** The form of a file. */
enum class Form {
    Json,
    JsonLines,
};

/** What the validator reports of \a content, held against \a schema, a file in docs. */
QByteArray objection(const QByteArray& content, Form form, const QString& schema)
{
    const QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("content")));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size()) {
        return "cannot write";
    }
    file.close();
    const QString values = form == Form::Json
                               ? QStringLiteral("[json.load(file)]")
                               : QStringLiteral("[json.loads(line) for line in file]");
    QProcess validator;
    validator.setProcessChannelMode(QProcess::MergedChannels);
    validator.start(QStringLiteral("/usr/bin/python3"),
                    {QStringLiteral("-c"),
                     QStringLiteral("import json, jsonschema, sys\n"
                                    "schema = json.load(open(sys.argv[1]))\n"
                                    "jsonschema.Draft202012Validator.check_schema(schema)\n"
                                    "file = open(sys.argv[2])\n"
                                    "values = %1\n"
                                    "assert values\n"
                                    "for value in values:\n"
                                    "    jsonschema.Draft202012Validator(schema).validate(value)\n")
                         .arg(values),
                     QStringLiteral(QUORVEL_SOURCE_DIR "/docs/") + schema, file.fileName()});
    if (!validator.waitForFinished()) {
        return "no validator";
    }
    return validator.exitCode() == 0 ? QByteArray() : validator.readAll() + "refused";
}

} // namespace

QByteArray schemaObjection(const QByteArray& json)
{
    return objection(json, Form::Json, QStringLiteral("quorvel-cli.schema.json"));
}

QByteArray journalObjection(const QByteArray& journal)
{
    return objection(journal, Form::JsonLines, QStringLiteral("quorvel-journal.schema.json"));
}
