#include "Commands.h"

#include "Answer.h"
#include "Interrupt.h"
#include "ProgressBar.h"
#include "Session.h"
#include "Terminal.h"

#include <nodelibrary/LibraryImporter.h>

#include <QJsonArray>
#include <QJsonObject>

#include <stop_token>
#include <utility>

using namespace Qt::StringLiterals;

namespace Tesk::Command {

using NodeLibrary::FilterChange;
using NodeLibrary::ImportOptions;
using NodeLibrary::ImportSummary;
using NodeLibrary::LibraryImporter;
using NodeLibrary::Problem;
using State = FilterChange::State;

static QString stateText(State state)
{
    switch (state) {
    case State::New:
        return u"new"_s;
    case State::Updated:
        return u"updated"_s;
    case State::Unchanged:
        return u"unchanged"_s;
    case State::Removed:
        return u"removed"_s;
    }
    return {};
}

static QString severityText(Problem::Severity severity)
{
    switch (severity) {
    case Problem::Severity::FileRefused:
        return u"file refused"_s;
    case Problem::Severity::NodeDefRefused:
        return u"nodedef refused"_s;
    case Problem::Severity::Remark:
        return u"remark"_s;
    }
    return {};
}

static QJsonObject toJson(const ImportSummary &summary, bool isDryRun)
{
    QJsonArray filters;
    for (const ImportSummary::Filter &filter : summary.filters)
        filters.append(QJsonObject{{u"name"_s, filter.name},
                                   {u"kind"_s, filter.isDynamic ? u"dynamic"_s : u"static"_s},
                                   {u"state"_s, stateText(filter.state)}});
    QJsonArray problems;
    for (const Problem &problem : summary.problems)
        problems.append(QJsonObject{{u"severity"_s, severityText(problem.severity)},
                                    {u"file"_s, problem.file},
                                    {u"line"_s, problem.line},
                                    {u"column"_s, problem.column},
                                    {u"text"_s, problem.text}});
    QJsonObject counts;
    for (const State state : {State::New, State::Updated, State::Unchanged, State::Removed})
        counts.insert(stateText(state), static_cast<qint64>(summary.count(state)));
    return {{u"dryRun"_s, isDryRun},
            {u"files"_s, summary.fileCount},
            {u"nodedefs"_s, summary.nodeDefCount},
            {u"counts"_s, counts},
            {u"filters"_s, filters},
            {u"problems"_s, problems}};
}

// The problems go to the error stream, where scripts expect them.
static void printProblems(const ImportSummary &summary)
{
    for (const Problem &problem : summary.problems)
        Terminal::printError(Terminal::harmless(problem.toString()) + u'\n');
}

static void printSummary(const ImportSummary &summary, bool isDryRun)
{
    Terminal::print(
            u"%1, %2%3\n"_s.arg(Answer::counted(summary.fileCount, u"file"_s),
                                Answer::counted(summary.nodeDefCount, u"nodedef"_s),
                                isDryRun ? u"; a dry run, nothing was changed"_s : QString()));
    qint64 refused = 0;
    for (const Problem &problem : summary.problems)
        refused += problem.severity == Problem::Severity::Remark ? 0 : 1;
    Terminal::print(u"filters: %1 new, %2 updated, %3 unchanged, %4 removed; %5 refused\n"_s.arg(
            QString::number(summary.count(State::New)),
            QString::number(summary.count(State::Updated)),
            QString::number(summary.count(State::Unchanged)),
            QString::number(summary.count(State::Removed)), QString::number(refused)));
    if (!isDryRun)
        return;
    for (const ImportSummary::Filter &filter : summary.filters) {
        if (filter.state != State::Unchanged)
            Terminal::print(
                    u"  %1 %2\n"_s.arg(stateText(filter.state), Terminal::harmless(filter.name)));
    }
}

static ImportSummary import(Session &session, const Arguments &arguments, std::stop_token stop)
{
    ProgressBar bar;
    ImportOptions options;
    options.library = arguments.library;
    options.nameOverride = arguments.nameOverride;
    options.groupByNodeGroup = arguments.groupByNodeGroup;
    options.dryRun = arguments.dryRun;
    options.stopToken = std::move(stop);
    options.progress = [&bar](const ImportOptions::Progress &progress) {
        const bool isReading = progress.stage == ImportOptions::Progress::Stage::Reading;
        bar.show(isReading ? u"files"_s : u"filters"_s, progress.done, progress.total);
    };
    return LibraryImporter(session.database(), session.manager()).import(arguments.paths, options);
}

int runImport(const Arguments &arguments)
{
    // Before the catalogue, so that a stop in the midst of opening leaves no new file either.
    const Interrupt interrupt;
    Session session(arguments, arguments.dryRun ? Session::Access::Try : Session::Access::Create);
    const ImportSummary summary = import(session, arguments, interrupt.token());
    if (summary.isCancelled) {
        session.abandon();
        Terminal::printError(u"filterbase: interrupted; the catalogue is as it was\n"_s);
        return Interrupted;
    }
    if (arguments.json) {
        Answer::printJson(toJson(summary, arguments.dryRun));
    } else {
        printProblems(summary);
        printSummary(summary, arguments.dryRun);
    }
    return summary.hasRefusals() ? Negative : Done;
}

} // namespace Tesk::Command
