"""Converts whole libraries of recordings: planned, resumable, on one machine or on a cluster."""
