"""The tool that lists the log lines, as a module."""

import importlib.machinery
import importlib.util
import os
import pathlib

PATH = pathlib.Path(os.environ['SOURCE']) / 'tools' / 'list-log-lines'


def load():
    loader = importlib.machinery.SourceFileLoader('list_log_lines', str(PATH))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader(loader.name, loader))
    loader.exec_module(module)
    return module


tool = load()
