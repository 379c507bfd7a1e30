"""Tables of markdown, as the documents have them."""

import re


def cells(line):
    """The cells of a table's line, without blanks around; a bar within a cell is written \\|."""
    return [cell.strip().replace('\\|', '|') for cell in re.split(r'(?<!\\)\|', line.strip())[1:-1]]


def rows(text, *columns):
    """Each row of each table with exactly these columns, as a dictionary; "under" is the heading above the table."""
    heading, head = '', None
    for line in text.splitlines():
        if line.startswith('#'):
            heading, head = line.lstrip('#').strip(), None
        elif not line.startswith('|'):
            head = None
        elif head is None:
            head = cells(line)
        elif not re.fullmatch(r'[| :-]+', line) and tuple(head) == columns:
            found = cells(line)
            if len(found) != len(head):
                raise ValueError(f'{len(found)} cells under {len(head)} columns: {line}')
            yield {'under': heading, **dict(zip(head, found))}


def quoted(cell):
    """What stands in code quotes in a cell."""
    return re.findall(r'`([^`]+)`', cell)


def anchors(text):
    """Of a page's headings, as they are linked to."""
    return {re.sub(r'[^\w\- ]', '', heading.lower()).replace(' ', '-') for heading in re.findall(r'^#+ (.*)$', text, re.M)}
