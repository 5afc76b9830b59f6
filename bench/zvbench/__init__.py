"""Measures the gateway against the least that its start, its answer and its copying can cost."""
