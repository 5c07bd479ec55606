@echo off
rem Tries every hardware encoder of this machine with the converter, judges the movies and writes a report.
rem Needs Python 3.10 or newer and ffmpeg. "hardware-check --help" lists the options.
setlocal
set "here=%~dp0"
set "own=%here%hardware-check-python"

if exist "%own%\Scripts\python.exe" goto check_numpy

set "python="
py -3 -c "import sys; sys.exit(sys.version_info < (3, 10))" >nul 2>&1
if not errorlevel 1 set "python=py -3"
if defined python goto make
python -c "import sys; sys.exit(sys.version_info < (3, 10))" >nul 2>&1
if not errorlevel 1 set "python=python"
if defined python goto make
echo hardware-check: Python 3.10 or newer was not found. Install it, for example with
echo     winget install Python.Python.3.12
echo and start hardware-check again in a new terminal.
exit /b 1

:make
%python% -c "import numpy" >nul 2>&1
if not errorlevel 1 goto run
echo hardware-check: making a Python environment for numpy in "%own%"; delete the folder when you are done.
%python% -m venv "%own%"
if errorlevel 1 goto no_environment

:check_numpy
set python="%own%\Scripts\python.exe"
%python% -c "import numpy" >nul 2>&1
if not errorlevel 1 goto run
echo hardware-check: installing numpy into it.
%python% -m pip install --quiet --disable-pip-version-check numpy
if errorlevel 1 goto no_environment

:run
%python% "%here%hardware_check" %*
exit /b %errorlevel%

:no_environment
echo hardware-check: the Python environment could not be made; see the messages above.
exit /b 1
