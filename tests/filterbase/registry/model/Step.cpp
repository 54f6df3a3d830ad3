#include "Step.h"

#include <array>

namespace FilterBaseTesting {

static const char *nameOf(Step::Kind kind)
{
    static constexpr std::array sNames{"AddFilter",     "AddImplementation",
                                       "AddBare",       "AddPlain",
                                       "AddDescriptor", "Remove",
                                       "Link",          "Rename",
                                       "RecordName",    "SetItem",
                                       "Show",          "Import",
                                       "Register",      "Declare",
                                       "MakeDesc",      "FindDynamic",
                                       "Collect",       "Uncollect",
                                       "NewManager",    "Restart",
                                       "BeginScope",    "SpoilScope",
                                       "CommitScope",   "LeaveScope"};
    return sNames.at(static_cast<std::size_t>(kind));
}

static const char *nameOf(Operation operation)
{
    static constexpr std::array sNames{"category", "variationType", "getIODesc", "modelHasChanged"};
    return sNames.at(static_cast<std::size_t>(operation));
}

std::string Step::describe() const
{
    std::string line = nameOf(kind);
    const auto add = [&line](const char *title, const std::string &value) {
        if (!value.empty())
            line += std::string(" ") + title + "=\"" + value + '"';
    };
    add("id", id.toStdString());
    add("other", other.toStdString());
    if (!ids.empty()) {
        line += " ids=[";
        for (const QByteArray &each : ids)
            line += each.isEmpty() ? " null" : ' ' + each.toStdString();
        line += " ]";
    }
    add("name", name.toStdString());
    add("key", key.toStdString());
    add("text", text.toStdString());
    if (fault) {
        line += std::string(" ") + nameOf(fault->operation) + " of " + fault->id.toStdString()
                + " throws at call " + std::to_string(fault->call);
    }
    if (refusal) {
        line += " the store refuses "
                + (refusal->id.isEmpty() ? "everything" : refusal->id.toStdString());
        line += refusal->atCommit ? " at its commit" : "";
    }
    if (isInternal)
        line += " internal";
    if (manager != 0)
        line += " second manager";
    if (onWorker)
        line += " on a worker";
    return line;
}

std::vector<std::string> Outcome::lines() const
{
    std::vector<std::string> lines;
    for (const std::string &result : results)
        lines.push_back("returned " + result);
    if (!exception.empty())
        lines.push_back("threw " + exception);
    for (const std::string &record : records)
        lines.push_back("logged " + record);
    for (const std::string &hide : hides)
        lines.push_back("hid " + hide);
    return lines;
}

} // namespace FilterBaseTesting
