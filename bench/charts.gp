# Draws the two charts from ratios.dat and lookup.dat of the working directory.
set terminal svg size 900,420 font "sans-serif,13" background rgb "white"
set grid ytics lc rgb "#dddddd"
set border 3
set tics nomirror

set output "ratios.svg"
set title "Instructions in proportion to the plain C API (1 is the floor)"
set style data histograms
set style histogram clustered gap 1
set style fill solid border -1
set yrange [0.98:*]
set key top left
plot "ratios.dat" using 2:xtic(1) title "SQLiteCpp" lc rgb "#b0b7c3", \
     "" using 3 title "tessary" lc rgb "#2b6cb0", \
     1 with lines title "plain C API" lc rgb "black"

set output "lookup.svg"
set title "Time of one query by the number of applications stored"
set xlabel "applications"
set ylabel "microseconds"
set yrange [0:*]
set xrange [0:*]
scan(x) = base + slope * x
fit scan(x) "lookup.dat" using 1:3 via base, slope
plot scan(x) title sprintf("SQLite's scan by the plain C API: %.1f + %.4f a row", base, slope) lc rgb "#888888", \
     "lookup.dat" using 1:2 with points pt 7 ps 1.2 lc rgb "#2b6cb0" title "getData"
