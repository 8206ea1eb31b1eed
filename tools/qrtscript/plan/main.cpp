// qrtscript-plan: "qrtscript plan" and "qrtscript run".
#include <clocale>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <string>

#include "platform/catalogue.h"
#include "platform/treelogin.h"
#include "tools/own_folder.h"
#include "tools/program_start.h"
#include "tools/qrtscript/plan/options.h"
#include "tools/qrtscript/plan/plan.h"
#include "tools/qrtscript/plan/run.h"

static int plan_main(int argc, char **argv) {
    if (!program_may_start("qrtscript")) return plan_failed;
    setlocale(LC_ALL, "");
    own_catalogues_bind();
    auxwindows = 0; // the person is at the terminal
    const std::string subcommand = argc > 1 ? argv[1] : "";
    if (subcommand != "plan" && subcommand != "run") {
        fprintf(stderr, "%s\n", catalogue_text("qrtscript-plan: it is called by qrtscript"));
        return plan_failed;
    }
    static std::string name; // in what argp and the error of main say
    name = "qrtscript " + subcommand;
    program_check_output_at_exit(name.c_str(), plan_failed);
    argv[1] = name.data();
    if (subcommand == "run") return run_main(argc - 1, argv + 1);
    PlanOptions options;
    plan_options_parse(argc - 1, argv + 1, &options);
    return plan_run(options);
}

// argv[1] has become the name that messages begin with.
static int report(int argc, char **argv, const char *problem) {
    fprintf(stderr, "%s: %s\n", argc > 1 ? argv[1] : "qrtscript", problem);
    return plan_failed;
}

int main(int argc, char **argv) try { return plan_main(argc, argv); } catch (const std::bad_alloc &) {
    return report(argc, argv, catalogue_text("memory exhausted"));
} catch (const std::exception &problem) {
    return report(argc, argv, problem.what());
}
