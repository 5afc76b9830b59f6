"""Measures the gateway against what its start, its answer and its copying could cost at least."""
