"""What read_trace.py is made of: records, where they are found, and how they are shown."""
