# Every line of an unsealing on the console and in the log file, and what becomes of its settings.
title "the log file, without what the firmware answers"
forge
unseal -v 3 >console.txt
grep -v ' | [0-9a-f]' kxl.log
title "what the console shows else"
sed 's/^.\{36\}//' kxl.log | diff - console.txt

title "a refused unsealing in the log file"
forge no-disk-records
unseal -v 0 -l 1 -o refused.log
cat refused.log

title "settings of another section do not matter"
forge
sed -i 's/^DeviceIdSource=.*/DeviceIdSource=NONE/' device/kxl.ini
unseal | tail -n 3
title "a configuration file that does not exist"
replay --unseal -c absent.ini
title "no configuration file"
replay --unseal | tail -n 2
