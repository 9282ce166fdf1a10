#include "quality_commands.h"

#include <CLI/CLI.hpp>

namespace kevra_tool {

QualityCommands::QualityCommands(CLI::App& app) {
    benchmark_ = app.add_subcommand("benchmark", "Write the labelled benchmark: captures of frame sequences and a manifest");
    BenchmarkOptions& b = benchmark_options_;
    b.pictures = KEVRA_PICTURE_DIR;
    benchmark_->add_option("-o,--output", b.output, "Directory to write (manifest.json and one folder per sequence)")->required();
    benchmark_->add_option("--seed", b.seed, "Seed of the recipe")->capture_default_str();
    benchmark_->add_option("--sequences", b.sequences, "Sequences of six frames")->capture_default_str();
    benchmark_->add_option("--pictures", b.pictures, "Directory of the pictures used as scene content")->capture_default_str();

    eval_ = app.add_subcommand("eval", "Score the detection methods on a labelled benchmark");
    EvalOptions& e = eval_options_;
    eval_->add_option("manifest", e.manifest, "The benchmark's manifest.json")->required();
    eval_->add_flag("--json", e.json, "The scores as one JSON object");
    eval_->add_option("--plot", e.plot, "Draw detection rate against visible ripple to this SVG");
    eval_->add_option("--methods", e.methods, "Methods to score (default: all): kevra-frame, kevra-frame-majority, "
                                              "kevra-scene, row-dft, frame-ratio")->delimiter(',');
    eval_->add_option("--holdout", e.holdout, "Share of the sequences scored; the rest choose thresholds")
        ->capture_default_str();
    eval_->add_option("--tuning", e.tuning, "A `kevra tune` result to run the library methods with");

    tune_ = app.add_subcommand("tune", "Search the library decision's tuning on a labelled benchmark");
    TuneOptions& t = tune_options_;
    tune_->add_option("manifest", t.manifest, "The benchmark's manifest.json")->required();
    tune_->add_option("--holdout", t.holdout, "Share of the sequences held out of the search and scored")
        ->capture_default_str();
    tune_->add_option("-o,--output", t.output, "Where to write the tuning and its scores (JSON)")->required();
}

bool QualityCommands::parsed() const { return benchmark_->parsed() || eval_->parsed() || tune_->parsed(); }

int QualityCommands::run(std::ostream& out, std::ostream& err, bool progress) const {
    if (benchmark_->parsed()) return run_benchmark(benchmark_options_, err, progress);
    if (eval_->parsed()) return run_eval(eval_options_, out, err, progress);
    return run_tune(tune_options_, out, err, progress);
}

}  // namespace kevra_tool
