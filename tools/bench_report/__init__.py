"""Reports on the runs of qor_core_benchmarks: ratio summaries, Markdown reports with charts, and comparisons."""
