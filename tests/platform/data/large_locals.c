#include <stdio.h>
#include <windows.h>
/* 40 MB of locals: more than the usual 8 MB stack, well within the raised one. */
double sum(){
  double a[5000000];
  int i;
  for(i=0;i<5000000;i++) a[i]=i;
  double s=0;
  for(i=0;i<5000000;i++) s+=a[i];
  return s;}
int main(){
  printf("%.0f\n",sum());
  ExitProcess(3);}
