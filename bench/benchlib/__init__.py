"""Pieces of the screen recording benchmark (bench/record-bench)."""
