#include "CommandLine.h"

#include "Commands.h"
#include "NearNames.h"
#include "Session.h"
#include "Terminal.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace Tesk::Command {

namespace {

using Run = int (*)(const Arguments &);

// The texts as CLI11 fills them; turned into Arguments when all are read.
struct Texts
{
    std::string catalogue;
    std::vector<std::string> paths;
    std::string library;
    std::string nameOverride;
    std::string group;
    std::string name;
    std::string usage;
    std::string type;
    std::vector<std::string> settings;
};

QStringList toList(const std::vector<std::string> &texts)
{
    QStringList list;
    for (const std::string &text : texts)
        list.append(QString::fromStdString(text));
    return list;
}

class Parser
{
public:
    Parser()
        : m_app("Keeps the catalogue of image filters: which filter carries a name, which "
                "variations it has, and which asset computes each.",
                "filterbase")
    {
        m_app.set_version_flag("--version", FILTERBASE_VERSION);
        m_app.require_subcommand(1);
        m_app.fallthrough();
        m_app.add_option("--catalogue", m_texts.catalogue,
                         "The catalogue file; default: $FILTERBASE_CATALOGUE, else the user's own")
                ->type_name("FILE")
                ->check([](const std::string &file) {
                    return file.empty() ? std::string("the name of the file is empty")
                                        : std::string();
                });
        m_app.add_flag("--json", m_arguments.json,
                       "Answer as JSON (its schema: docs/json.md of the project)");
        m_app.footer("Example:\n  filterbase import samples && filterbase list");
        addImport();
        addQuestions();
        addChanges();
        addWhole();
    }

    int parse(int argc, const char *const *argv)
    {
        try {
            m_app.parse(argc, argv);
        } catch (const CLI::ParseError &error) {
            if (error.get_exit_code() == 0)
                return m_app.exit(error);
            Terminal::printError(complaintAbout(error));
            return WrongUse;
        }
        fillArguments();
        return Session::guarded(m_run, m_arguments);
    }

private:
    // What is wrong, what may have been meant, and where to look.
    QString complaintAbout(const CLI::ParseError &error) const
    {
        const std::vector<CLI::App *> chosen = m_app.get_subcommands();
        const CLI::App &command = chosen.empty() ? m_app : *chosen.front();
        QString name = QStringLiteral("filterbase");
        if (!chosen.empty())
            name += u' ' + QString::fromStdString(command.get_name());
        const QStringList unknown = toList(m_app.remaining(true));
        QString text = QString::fromStdString(error.what());
        if (!unknown.isEmpty())
            text = complaintAbout(unknown.front(), command, chosen.empty());
        else if (chosen.empty() && error.get_name() == "RequiredError")
            text = QStringLiteral("a command is missing, such as \"list\" or \"import\"");
        return QStringLiteral("%1: %2\nSee \"%1 --help\".\n").arg(name, Terminal::harmless(text));
    }

    QString complaintAbout(const QString &unknown, const CLI::App &command, bool isCommand) const
    {
        if (unknown.startsWith(u'-')) {
            const QStringList options = optionsOf(command) + optionsOf(m_app);
            return QStringLiteral("there is no option \"%1\".%2")
                    .arg(unknown, NearNames::hint(unknown.section(u'=', 0, 0), options));
        }
        if (!isCommand)
            return QStringLiteral("\"%1\" is one argument too many").arg(unknown);
        QStringList commands;
        for (const CLI::App *each : m_app.get_subcommands({}))
            commands.append(QString::fromStdString(each->get_name()));
        return QStringLiteral("there is no command \"%1\".%2")
                .arg(unknown, NearNames::hint(unknown, commands));
    }

    static QStringList optionsOf(const CLI::App &command)
    {
        QStringList options;
        for (const CLI::Option *option : command.get_options()) {
            for (const std::string &name : option->get_lnames())
                options.append(QStringLiteral("--") + QString::fromStdString(name));
        }
        return options;
    }

    CLI::App *add(const char *name, const char *description, const char *example, Run run)
    {
        CLI::App *command = m_app.add_subcommand(name, description);
        command->footer(std::string("Also: --catalogue FILE and --json, see filterbase --help\n"
                                    "\nExample:\n  ")
                        + example);
        command->callback([this, run] { m_run = run; });
        return command;
    }

    CLI::App *addNamed(const char *name, const char *description, const char *example, Run run)
    {
        CLI::App *command = add(name, description, example, run);
        command->add_option("NAME", m_texts.name, "The filter, in any letter case")->required();
        return command;
    }

    void addChoice(CLI::App *command)
    {
        command->add_option("--usage", m_texts.usage,
                            "A named role, such as \"surfaceshader\" or \"nodedef:ND_x\"")
                ->type_name("U");
        command->add_option("--type", m_texts.type,
                            "The output's type: float, float2, float3, float4, integer, color, "
                            "grayscale, string")
                ->type_name("T");
    }

    void addImport()
    {
        CLI::App *command = add("import", "Bring node libraries into the catalogue",
                                "filterbase import samples --dry-run", &runImport);
        command->add_option("PATH", m_texts.paths, "A folder of .mtlx files, or one file")
                ->required();
        command->add_flag("--dry-run", m_arguments.dryRun, "Only tell what would happen");
        command->add_option("--library", m_texts.library,
                            "The library's name; default: the last part of each path")
                ->type_name("NAME");
        CLI::Option *name = command->add_option("--name", m_texts.nameOverride,
                                                "File everything under this one filter name")
                                    ->type_name("NAME");
        command->add_option("--group", m_texts.group, "File each group of nodes as one filter")
                ->check(CLI::IsMember({"nodegroup"}))
                ->type_name("nodegroup")
                ->excludes(name);
    }

    void addQuestions()
    {
        CLI::App *list = add("list", "List the filters", "filterbase list 'blur*'", &runList);
        list->add_option("PATTERN", m_texts.name, "A part of the name, or a pattern with * and ?");
        list->add_flag("--names", m_arguments.namesOnly, "Only the names, one a line");
        addNamed("show", "Show one filter in full", "filterbase show weave", &runShow);
        CLI::App *pick =
                addNamed("pick", "Pick the implementation for a usage and a type",
                         "filterbase pick weave --type color --set threads=32,32", &runPick);
        addChoice(pick);
        pick->add_option("--set", m_texts.settings, "A parameter of the filter and its value")
                ->type_name("PARAM=VALUE")
                ->take_all()
                ->allow_extra_args(false);
        addChoice(addNamed("why", "Tell how a choice comes about, or why a name is not to be found",
                           "filterbase why weave --type color", &runWhy));
        CLI::App *resolve = add("resolve", "Find the dynamic filter that stands for a static one",
                                "filterbase resolve weave", &runResolve);
        resolve->add_option("ID-or-NAME", m_texts.name, "An asset's identifier or its name")
                ->required();
        addNamed("versions", "Show the lines of versions of a filter", "filterbase versions rust",
                 &runVersions);
    }

    void addChanges()
    {
        addNamed("hide", "Hide a filter from those who browse", "filterbase hide velvet", &runHide);
        addNamed("unhide", "Show a hidden filter again", "filterbase unhide velvet", &runUnhide);
        addNamed("remove", "Delete a filter and what only it refers to", "filterbase remove velvet",
                 &runRemove);
    }

    void addWhole()
    {
        CLI::App *check = add("check", "Check the whole catalogue", "filterbase check", &runCheck);
        check->add_flag("--repair", m_arguments.repair, "Mend what can be mended without loss");
        add("export", "Write the whole catalogue down, the same content always alike",
            "filterbase export --json > catalogue.json", &runExport);
        add("stats", "Count what the catalogue holds", "filterbase stats", &runStats);
    }

    void fillArguments()
    {
        const auto text = [](const std::string &value) {
            return QString::fromStdString(value);
        };
        m_arguments.catalogue =
                m_texts.catalogue.empty() ? Session::defaultCatalogue() : text(m_texts.catalogue);
        m_arguments.paths = toList(m_texts.paths);
        m_arguments.library = text(m_texts.library);
        m_arguments.nameOverride = text(m_texts.nameOverride);
        m_arguments.groupByNodeGroup = !m_texts.group.empty();
        m_arguments.name = text(m_texts.name);
        m_arguments.usage = text(m_texts.usage);
        m_arguments.type = text(m_texts.type);
        m_arguments.settings = toList(m_texts.settings);
    }

    CLI::App m_app;
    Texts m_texts;
    Arguments m_arguments;
    Run m_run = nullptr;
};

} // namespace

int CommandLine::run(int argc, const char *const *argv)
{
    return Parser().parse(argc, argv);
}

} // namespace Tesk::Command
