"""What archive_on_dask.py consists of."""
