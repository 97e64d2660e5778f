#include "CommandLine.h"

#include <iostream>
#include <locale>
#include <sstream>

#include "zul/scene/ModelCheck.h"

namespace krviews {

bool parseVector(const std::string& text, float out[3]) {
    std::istringstream in(text);
    in.imbue(std::locale::classic());
    char c1 = 0, c2 = 0;
    std::string rest;
    if (!(in >> out[0] >> c1 >> out[1] >> c2 >> out[2]) || c1 != ',' || c2 != ',') return false;
    return !(in >> rest);
}

// The command line: each command with its arguments, into `a`.
void describeCommands(CLI::App& app, Args& a, CLI::Option*& defaultName) {
    app.require_subcommand(1);
    app.set_version_flag("--version", "krviews " ZUL_VERSION);
    app.add_option("--hive", a.hive,
                   "User registry hive (default: $ZUL_USER_HIVE, else the per-user hive)");
    app.add_subcommand("list", "List the stored views: index, tab, name (tab default)");
    auto* show = app.add_subcommand("show", "Print a view's record");
    show->add_option("NAME", a.name, "View name")->required();
    auto* add = app.add_subcommand("add", "Create a view (record defaults for what is not given)");
    add->add_option("NAME", a.name, "View name")->required();
    a.addOpts.attach(add);
    auto* edit = app.add_subcommand("edit", "Change a stored view by the options given");
    edit->add_option("NAME", a.name, "View name")->required();
    a.editOpts.attach(edit);
    auto* rename = app.add_subcommand("rename", "Rename a view");
    rename->add_option("OLD", a.name, "Current name")->required();
    rename->add_option("NEW", a.newName, "New name")->required();
    auto* del = app.add_subcommand(
        "delete", "Delete the views named; the views behind them move up (one change)");
    del->add_option("NAME", a.names, "View names")->required();
    auto* move = app.add_subcommand(
        "move", "Move a view one place up or down the list, past its neighbour (one change)");
    move->add_option("NAME", a.name, "View name")->required();
    move->add_option("DIRECTION", a.direction, "up or down")
        ->required()
        ->check(CLI::IsMember({"up", "down"}));
    auto* def =
        app.add_subcommand("default", "Print, set (NAME) or clear (--clear) the default view");
    defaultName = def->add_option("NAME", a.name, "View to mark as the default");
    def->add_flag("--clear", a.clearDefault, "Remove the default mark");
    app.add_subcommand("names", "Print the names of the stored views, separated by ';'");
    app.add_subcommand("selftest",
                       "Run the self-tests of every class registered as a unit-test source");
    auto* save = app.add_subcommand(
        "save", "Save every stored view to FILE (.qjv: UTF-16 view file, .reg: registry export, "
                "ParaView's .pvcc: one camera, with --name, .pvcvbc: custom viewpoints)");
    save->add_option("FILE", a.file, "File to write")->required();
    save->add_option("--type", a.fileType,
                     "qjv, reg, pvcc or pvcvbc (default: from the extension)");
    save->add_option("--name", a.saveNames,
                     "Save just this view (repeatable; not to a .reg file): MODEL.qjv beside a "
                     "model holds the views that come with it");
    auto* load = app.add_subcommand(
        "load", "Load the views of FILE into the store (same names are replaced)");
    load->add_option("FILE", a.file, "File to read")->required();
    load->add_option("--type", a.fileType,
                     "qjv, reg, pvcc or pvcvbc (default: from the extension; a .pvcc view is "
                     "named after the file)");
    auto* render = app.add_subcommand(
        "render", "Render MODEL (or --sample) as stored views show it: one view, one "
                  "picture; several, a contact sheet with each name under its picture");
    auto* sheet = app.add_subcommand(
        "sheet", "Render a contact sheet of every stored view of MODEL (or --sample)");
    for (CLI::App* r : {render, sheet}) {
        r->add_option("MODEL", a.model, "A model file: " + zul::scene::modelFormatList());
        r->add_flag("--sample", a.sample, "The built-in sample assembly instead of a model file");
        r->add_option("-o,--output", a.output, "PNG file to write")->required();
        r->add_option("--size", a.size, "Size of one picture, WIDTHxHEIGHT (default 640x480)");
    }
    auto* view = render->add_option("--view", a.viewNames,
                                    "A stored view to show (repeatable; none: the first view saved "
                                    "beside the model, else the default view, else +Isometric)");
    render
        ->add_option("--model-view", a.modelView,
                     "Show the model through view N of its list (krviews model-views)")
        ->check(CLI::PositiveNumber)
        ->excludes(view);
    auto* listed = app.add_subcommand(
        "model-views",
        "List the views that come with MODEL: index, tab, source (file: saved beside it in "
        "MODEL.qjv; model: a camera the file places), tab, name");
    listed->add_option("MODEL", a.model, "A model file: " + zul::scene::modelFormatList())
        ->required();
    for (CLI::App* sub : app.get_subcommands({}))
        sub->positionals_at_end(false);
}

} // namespace krviews
