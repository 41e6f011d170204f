#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <vector>

class QTextStream;

// One headless command of norvane-cli: `norvane-cli {name} [arguments]`.
struct CliVerb {
    QString name;
    QString usage;   // arguments after the verb, as shown in help
    QString summary; // one line for the verb list
    std::function<int(const QStringList& arguments, QTextStream& out, QTextStream& err)> run;
};

// Every verb, in the order help lists them.
const std::vector<CliVerb>& cliVerbs();
