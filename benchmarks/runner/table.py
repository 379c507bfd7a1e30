"""The table that ./bench prints."""

import dataclasses
import statistics


@dataclasses.dataclass
class Row:
    """One measured thing: a ratio of the service to its floor for every round, or a plain number."""
    name: str
    values: list          # what the limit holds for, one for each round
    limit: float
    gate: bool = False
    floor: str = ''       # the floor's and the service's median, with their unit
    service: str = ''
    plain: bool = False   # counts, no ratio: the worst of them decides

    @property
    def value(self):
        return max(self.values) if self.plain else statistics.median(self.values)

    @property
    def is_over(self):
        return self.value > self.limit

    def cells(self):
        style = '{:.0f}' if self.plain else '{:.3f}'
        return [self.name, self.floor, self.service, style.format(self.value),
                f'{style.format(min(self.values))}..{style.format(max(self.values))}',
                f'{self.limit:.0f}' if self.plain else f'{self.limit:.2f}',
                'over' if self.is_over else 'PASS', 'gate' if self.gate else 'reported']


HEAD = ['row', 'floor', 'service', 'ratio', 'spread', 'limit', '', '']


def ratio_row(name, pairs, limit, scale, unit, gate=False):
    """A row of (floor, service) pairs, one for each round. `scale` turns a figure into `unit` for showing."""
    def show(figures):
        return f'{statistics.median(figures) / scale:.2f} {unit}'

    floors, services = zip(*pairs)
    return Row(name, [service / floor for floor, service in pairs], limit, gate, show(floors), show(services))


def render(rows):
    lines = [HEAD] + [row.cells() for row in rows]
    widths = [max(len(line[column]) for line in lines) for column in range(len(HEAD))]
    text = []
    for line in lines:
        cells = [cell.ljust(width) if column in (0, 6, 7) else cell.rjust(width)
                 for column, (cell, width) in enumerate(zip(line, widths))]
        text.append('  '.join(cells).rstrip())
    return '\n'.join(text)
