"""The benchmarks' report."""
