// qrtscript-plan: "qrtscript plan" and "qrtscript run".
#include <clocale>
#include <cstdio>
#include <cstring>
#include <exception>

#include "platform/catalogue.h"
#include "tools/own_folder.h"
#include "tools/program_start.h"
#include "tools/qrtscript/plan/options.h"
#include "tools/qrtscript/plan/plan.h"

static int plan_main(int argc, char **argv) {
    if (!program_may_start("qrtscript")) return plan_failed;
    setlocale(LC_ALL, "");
    own_catalogues_bind();
    program_check_output_at_exit("qrtscript", plan_failed);
    if (argc < 2 || strcmp(argv[1], "plan") != 0) {
        fprintf(stderr, "%s\n", catalogue_text("qrtscript-plan: it is called by qrtscript"));
        return plan_failed;
    }
    char name[] = "qrtscript plan";
    argv[1] = name;
    PlanOptions options;
    plan_options_parse(argc - 1, argv + 1, &options);
    return plan_run(options);
}

int main(int argc, char **argv) try { return plan_main(argc, argv); } catch (const std::exception &problem) {
    fprintf(stderr, "qrtscript plan: %s\n", problem.what());
    return plan_failed;
}
