"""Draws the workloads of all programs as multiples of this library's time, with gnuplot."""
import subprocess

GNUPLOT = """set terminal svg size 900,420 font "sans,12" background "white"
set output "{output}"
set logscale y
set ylabel "processor time, this library = 1"
set yrange [0.1:*]
set style data histogram
set style histogram clustered gap 1
set style fill solid 0.8
set key outside right
set grid ytics
set xtics font ",11"
plot {columns}
"""


def plot(table, output):
    """`table` has a dictionary of times by program for each workload."""
    programs = [name for name in next(iter(table.values())) if name != "this"]
    data = "\n".join(f'"{title.split()[0]}" ' + " ".join(f"{times[name] / times['this']:.3f}" for name in programs)
                     for title, times in table.items())
    columns = ", ".join(f'$data using {number}:xtic(1) title "{name}"' for number, name in enumerate(programs, 2))
    script = f"$data << EOD\n{data}\nEOD\n" + GNUPLOT.format(output=output, columns=columns)
    subprocess.run(["gnuplot"], input=script, text=True, check=True)
