"""What help lists about the arguments of a command."""


def meaning(parameter):
    text = parameter.help
    if parameter.choices:
        listed = ", ".join(parameter.choices)
        text = f"{text}: {listed}" if text else listed
    if parameter.kind == "number" and not text and parameter.low is not None:
        text = f"{parameter.low} to {parameter.high}" if parameter.high is not None else f"at least {parameter.low}"
    return text


def write_arguments(parameters, formatter):
    """Writes a section of all positional arguments, and one of the rows of each that has some."""
    arguments = [each for each in parameters if not each.option]
    rows = [(each.name, meaning(each)) for each in arguments]
    if rows:
        with formatter.section("Arguments"):
            formatter.write_dl(rows)
    for each in arguments:
        if each.rows:
            with formatter.section("Keys" if each.kind == "pairs" else f"{each.name.capitalize()}s"):
                formatter.write_dl(list(each.rows))
